#pragma once
// libMarlbase.dll carries the foundation, the host services around it and the
// platform access layer; everything else imports them from there.
#if defined(MARLBASE_BUILDING)
#define ORV_API __declspec(dllexport)
#else
#define ORV_API __declspec(dllimport)
#endif

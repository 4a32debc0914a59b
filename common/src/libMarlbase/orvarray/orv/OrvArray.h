#pragma once
// orv::Array<T>, complete: include this one header to use arrays.
#include <orv/OrvArrayCommon.h>
#include <orv/OrvArrayRep.h>
#include <orv/OrvArrayImpl.h>

#include <COM/comptr.h>

#include <orv/OrvLog.h>
#include <orv/OrvValue.h>

#include <objbase.h>

ORV_LOG_CATEGORY("comptr");

COMInitializer::COMInitializer() {
    ORV_TRACE("COMInitializer::COMInitializer");
    HRESULT const result = CoInitialize(nullptr);
    ORV_LOG(1) << "CoInitialize returns " << orv::OrvValue(result).toHexString(true);
}

COMInitializer::~COMInitializer() {
    CoUninitialize();
}

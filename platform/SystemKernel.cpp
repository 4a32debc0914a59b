#include "SystemPlatform.h"

namespace platform {
namespace system {

namespace {

class Kernel32 : public Kernel {
public:
    BOOL verifyVersionInfo(OSVERSIONINFOEXW* info, DWORD typeMask, DWORDLONG conditionMask) override {
        return VerifyVersionInfoW(info, typeMask, conditionMask);
    }
};

}  // namespace

Kernel& kernel() {
    static Kernel32 kernel;
    return kernel;
}

}  // namespace system
}  // namespace platform

#include <orv/OrvSystem.h>

#include <windows.h>

namespace orv {

void System::mssleep(unsigned int milliseconds) {
    Sleep(milliseconds);
}

}  // namespace orv

#pragma once
#include <orv/OrvExport.h>

namespace orv {

class ORV_API System {
public:
    static void mssleep(unsigned int milliseconds);
};

}  // namespace orv

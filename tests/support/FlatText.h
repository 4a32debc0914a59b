#pragma once
// Reads a text of the flat device list as a plain caller must: the length
// first, then exactly that many units into a buffer with a guard unit behind
// them, so that a copy that writes past the length it gave is caught.
#include <gtest/gtest.h>

#include <string>
#include <vector>

inline std::wstring flatText(unsigned int (*length)(bool, unsigned int), bool (*copy)(bool, unsigned int, void*),
                             bool render, unsigned int index) {
    unsigned int const units = length(render, index);
    std::vector<wchar_t> buffer(units + 1, L'#');
    EXPECT_TRUE(copy(render, index, buffer.data()));
    EXPECT_EQ(L'#', buffer[units]) << "the copy wrote past its length";
    return std::wstring(buffer.data(), units);
}

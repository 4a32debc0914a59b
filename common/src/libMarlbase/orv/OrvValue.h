#pragma once
// orv::OrvValue: a number on its way into text.
//
//   OrvValue(hr).toHexString(true)                  -> "0x8889000E"
//   OrvValue(n).toString(OrvValue::nilValue())      -> "42"
//
// toHexString writes uppercase digits, all of them: 8 for 32-bit values
// (int, long, their unsigned kinds), 16 for 64-bit ones; a negative value is
// written as its two's complement bits. The flag puts "0x" in front.
// toString writes decimal with a minus sign for negative values; its argument
// is a minimum digit count filled with leading zeros, and nilValue() (0) asks
// for no filling.
#include <orv/OrvExport.h>
#include <orv/OrvString.h>

namespace orv {

class ORV_API OrvValue {
public:
    OrvValue(int const& value);
    OrvValue(unsigned int const& value);
    OrvValue(long const& value);
    OrvValue(unsigned long const& value);
    OrvValue(long long const& value);
    OrvValue(unsigned long long const& value);
    ~OrvValue();

    String toHexString(bool withPrefix) const;
    String toString(unsigned int minimumDigits) const;

    static unsigned int nilValue();

private:
    OrvValue(unsigned long long bits, unsigned int bytes, bool isSigned);

    unsigned long long m_bits;
    unsigned int m_bytes;
    bool m_signed;
};

}  // namespace orv

#include <orv/OrvValue.h>

#include <string>

namespace orv {

namespace {

// The bits of a value of `bytes` width, sign-extended back when signed.
long long signedValue(unsigned long long bits, unsigned int bytes) {
    if (bytes == 4) {
        return static_cast<long long>(static_cast<std::int32_t>(static_cast<std::uint32_t>(bits)));
    }
    return static_cast<long long>(bits);
}

std::string decimalDigits(unsigned long long magnitude) {
    std::string digits;
    do {
        digits.insert(digits.begin(), static_cast<char>('0' + magnitude % 10));
        magnitude /= 10;
    } while (magnitude != 0);
    return digits;
}

}  // namespace

OrvValue::OrvValue(unsigned long long bits, unsigned int bytes, bool isSigned)
    : m_bits(bytes == 4 ? (bits & 0xffffffffULL) : bits), m_bytes(bytes), m_signed(isSigned) {}

OrvValue::OrvValue(int const& value) : OrvValue(static_cast<unsigned long long>(value), sizeof(value), true) {}
OrvValue::OrvValue(unsigned int const& value) : OrvValue(value, sizeof(value), false) {}
OrvValue::OrvValue(long const& value) : OrvValue(static_cast<unsigned long long>(value), sizeof(value), true) {}
OrvValue::OrvValue(unsigned long const& value) : OrvValue(value, sizeof(value), false) {}
OrvValue::OrvValue(long long const& value)
    : OrvValue(static_cast<unsigned long long>(value), sizeof(value), true) {}
OrvValue::OrvValue(unsigned long long const& value) : OrvValue(value, sizeof(value), false) {}
OrvValue::~OrvValue() = default;

String OrvValue::toHexString(bool withPrefix) const {
    static char const hexDigits[] = "0123456789ABCDEF";
    std::string text = withPrefix ? "0x" : "";
    for (int shift = static_cast<int>(m_bytes) * 8 - 4; shift >= 0; shift -= 4) {
        text.push_back(hexDigits[(m_bits >> shift) & 0xf]);
    }
    return String(text.c_str());
}

String OrvValue::toString(unsigned int minimumDigits) const {
    bool const negative = m_signed && signedValue(m_bits, m_bytes) < 0;
    unsigned long long const magnitude =
        negative ? 0ULL - static_cast<unsigned long long>(signedValue(m_bits, m_bytes)) : m_bits;
    std::string digits = decimalDigits(magnitude);
    if (digits.size() < minimumDigits) {
        digits.insert(0, minimumDigits - digits.size(), '0');
    }
    if (negative) {
        digits.insert(digits.begin(), '-');
    }
    return String(digits.c_str());
}

unsigned int OrvValue::nilValue() {
    return 0;
}

}  // namespace orv

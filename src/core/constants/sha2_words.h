#pragma once

#include <cstdint>

namespace sonivert {

// 32-bit word helpers for the SHA-2 rounds. Words are unsigned, so shifts are logical and sums
// wrap modulo 2^32; a signed value passed in is taken modulo 2^32 as well.
struct Enc3
{
    // Positive counts shift towards the high bits, negative counts towards the low bits.
    static constexpr std::uint32_t w32Shift(std::uint32_t value, int bits)
    {
        if (bits >= 32 || bits <= -32)
            return 0;
        return bits >= 0 ? value << bits : value >> -bits;
    }

    // Positive counts rotate towards the high bits, negative counts towards the low bits.
    static constexpr std::uint32_t w32Rotate(std::uint32_t value, int bits)
    {
        const int left = ((bits % 32) + 32) % 32;
        if (left == 0)
            return value;
        return (value << left) | (value >> (32 - left));
    }

    static constexpr std::uint32_t UnsignedAdd(std::uint32_t a, std::uint32_t b) { return a + b; }

    template<typename... Rest>
    static constexpr std::uint32_t UnsignedAdd(std::uint32_t a, std::uint32_t b, Rest... rest)
    {
        return UnsignedAdd(a + b, rest...);
    }
};

} // namespace sonivert

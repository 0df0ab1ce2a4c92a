#include "core/constants/sha2.h"

#include "core/constants/sha2_words.h"
#include "core/constants/stop_processing.h"

#include <QByteArrayList>
#include <QByteArrayView>
#include <array>
#include <cstdint>
#include <optional>

namespace sonivert {

namespace {

using Word = std::uint32_t;
using State = std::array<Word, 8>;

// The first 32 bits of the fractional parts of the cube roots of the first 64 primes.
constexpr const char *kRoundConstantText
    = "428a2f98 71374491 b5c0fbcf e9b5dba5 3956c25b 59f111f1 923f82a4 ab1c5ed5 "
      "d807aa98 12835b01 243185be 550c7dc3 72be5d74 80deb1fe 9bdc06a7 c19bf174 "
      "e49b69c1 efbe4786 0fc19dc6 240ca1cc 2de92c6f 4a7484aa 5cb0a9dc 76f988da "
      "983e5152 a831c66d b00327c8 bf597fc7 c6e00bf3 d5a79147 06ca6351 14292967 "
      "27b70a85 2e1b2138 4d2c6dfc 53380d13 650a7354 766a0abb 81c2c92e 92722c85 "
      "a2bfe8a1 a81a664b c24b8b70 c76c51a3 d192e819 d6990624 f40e3585 106aa070 "
      "19a4c116 1e376c08 2748774c 34b0bcb5 391c0cb3 4ed8aa4a 5b9cca4f 682e6ff3 "
      "748f82ee 78a5636f 84c87814 8cc70208 90befffa a4506ceb bef9a3f7 c67178f2";

const std::array<Word, 64> &roundConstants()
{
    static const std::array<Word, 64> constants = [] {
        std::array<Word, 64> words {};
        const QList<QByteArray> parts = QByteArray(kRoundConstantText).split(' ');
        for (qsizetype i = 0; i < parts.size() && i < 64; ++i)
            words[static_cast<std::size_t>(i)] = parts[i].toUInt(nullptr, 16);
        return words;
    }();
    return constants;
}

constexpr State kSha224Start = { 0xc1059ed8, 0x367cd507, 0x3070dd17, 0xf70e5939, 0xffc00b31,
    0x68581511, 0x64f98fa7, 0xbefa4fa4 };
constexpr State kSha256Start = { 0x6a09e667, 0xbb67ae85, 0x3c6ef372, 0xa54ff53a, 0x510e527f,
    0x9b05688c, 0x1f83d9ab, 0x5be0cd19 };

Word readWord(const unsigned char *bytes)
{
    return (Word { bytes[0] } << 24) | (Word { bytes[1] } << 16) | (Word { bytes[2] } << 8)
        | Word { bytes[3] };
}

void compressBlock(State &state, const unsigned char *block)
{
    const auto &k = roundConstants();
    std::array<Word, 64> w {};
    for (std::size_t t = 0; t < 16; ++t)
        w[t] = readWord(block + 4 * t);
    for (std::size_t t = 16; t < 64; ++t) {
        const Word s0 = Enc3::w32Rotate(w[t - 15], -7) ^ Enc3::w32Rotate(w[t - 15], -18)
            ^ Enc3::w32Shift(w[t - 15], -3);
        const Word s1 = Enc3::w32Rotate(w[t - 2], -17) ^ Enc3::w32Rotate(w[t - 2], -19)
            ^ Enc3::w32Shift(w[t - 2], -10);
        w[t] = Enc3::UnsignedAdd(w[t - 16], s0, w[t - 7], s1);
    }

    auto [a, b, c, d, e, f, g, h] = state;
    for (std::size_t t = 0; t < 64; ++t) {
        const Word sum1
            = Enc3::w32Rotate(e, -6) ^ Enc3::w32Rotate(e, -11) ^ Enc3::w32Rotate(e, -25);
        const Word choose = (e & f) ^ (~e & g);
        const Word t1 = Enc3::UnsignedAdd(h, sum1, choose, k[t], w[t]);
        const Word sum0
            = Enc3::w32Rotate(a, -2) ^ Enc3::w32Rotate(a, -13) ^ Enc3::w32Rotate(a, -22);
        const Word majority = (a & b) ^ (a & c) ^ (b & c);
        const Word t2 = Enc3::UnsignedAdd(sum0, majority);
        h = g;
        g = f;
        f = e;
        e = Enc3::UnsignedAdd(d, t1);
        d = c;
        c = b;
        b = a;
        a = Enc3::UnsignedAdd(t1, t2);
    }
    const State round = { a, b, c, d, e, f, g, h };
    for (std::size_t i = 0; i < state.size(); ++i)
        state[i] = Enc3::UnsignedAdd(state[i], round[i]);
}

std::optional<QByteArray> digestOf(QByteArrayView data, const State &start, int words)
{
    // The message, a 1 bit, zero padding and the 64-bit bit length fill whole 64-byte blocks.
    QByteArray message(data.data(), data.size());
    const std::uint64_t bitLength = static_cast<std::uint64_t>(data.size()) * 8;
    message.append(static_cast<char>(0x80));
    while (message.size() % 64 != 56)
        message.append('\0');
    for (int shift = 56; shift >= 0; shift -= 8)
        message.append(static_cast<char>((bitLength >> shift) & 0xff));

    State state = start;
    const auto *bytes = reinterpret_cast<const unsigned char *>(message.constData());
    for (qsizetype offset = 0; offset < message.size(); offset += 64) {
        if (StopProcessing())
            return std::nullopt;
        compressBlock(state, bytes + offset);
    }

    QByteArray digest;
    digest.reserve(words * 4);
    for (int i = 0; i < words; ++i) {
        const Word word = state[static_cast<std::size_t>(i)];
        for (int shift = 24; shift >= 0; shift -= 8)
            digest.append(static_cast<char>((word >> shift) & 0xff));
    }
    return digest;
}

} // namespace

void Enc2::setHashRounds(int rounds)
{
    m_hashRounds = (rounds >= 1 && rounds <= 10) ? rounds : 1;
}

void Enc2::setHashMethod(int method)
{
    m_hashMethod = (method >= 0 && method <= 5) ? method : 1;
}

QByteArray Enc2::HashString(const QByteArray &data) const
{
    if (StopProcessing())
        return QByteArray();
    const State *start = nullptr;
    int words = 0;
    switch (m_hashMethod) {
    case 0:
        start = &kSha224Start;
        words = 7;
        break;
    case 1:
        start = &kSha256Start;
        words = 8;
        break;
    default:
        return QByteArray();
    }

    std::optional<QByteArray> digest = digestOf(data, *start, words);
    for (int round = 1; digest && round < m_hashRounds; ++round)
        digest = digestOf(*digest, *start, words);
    return digest.value_or(QByteArray());
}

} // namespace sonivert

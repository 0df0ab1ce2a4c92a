#include "core/constants/stream_cipher.h"

#include "core/constants/stop_processing.h"

#include <algorithm>
#include <utility>

namespace sonivert {

namespace {

constexpr std::array kKeyLengths = { 128, 160, 192, 224, 256, 288, 320, 352, 384, 416, 448, 512,
    576, 640, 704, 768, 832, 896, 960, 1024 };

constexpr int kKeyRounds = 25;
constexpr int kTrailerSize = 8;
constexpr int kTrailerRounds = 5;
// The trailer holds the highest plain index as a fixed-point number with four decimals.
constexpr std::int64_t kTrailerScale = 10000;

QByteArray prepareKey(const QByteArray &material, int keyBytes)
{
    // One byte longer than the key; the schedule never reads the last one.
    QByteArray key(keyBytes + 1, '\0');
    const qsizetype copied = std::min<qsizetype>(material.size(), keyBytes);
    std::copy_n(material.constData(), copied, key.data());
    if (copied < keyBytes) {
        const Enc1::Schedule extra = Enc1::keySchedule(material, kKeyRounds);
        for (qsizetype i = copied; i < keyBytes; ++i)
            key[i] = static_cast<char>(extra[static_cast<std::size_t>(i - copied)]);
    }
    return key;
}

void maskTrailer(QByteArray &trailer)
{
    const int rounds = std::clamp(kTrailerRounds, 2, 10);
    const auto highest = static_cast<int>(trailer.size() - 1);
    const int offset = (highest + rounds) % 256;
    for (int round = 0; round < rounds; ++round) {
        for (int x = 0; x <= highest; ++x)
            trailer[x]
                = static_cast<char>(static_cast<std::uint8_t>(trailer[x]) ^ ((x + offset) % 256));
    }
}

QByteArray encodeTrailer(std::int64_t highestIndex)
{
    const auto value = static_cast<std::uint64_t>(highestIndex * kTrailerScale);
    QByteArray trailer(kTrailerSize, '\0');
    for (int i = 0; i < kTrailerSize; ++i)
        trailer[i] = static_cast<char>((value >> (8 * i)) & 0xff);
    maskTrailer(trailer);
    return trailer;
}

std::int64_t decodeTrailer(QByteArray trailer)
{
    maskTrailer(trailer);
    std::uint64_t value = 0;
    for (int i = kTrailerSize - 1; i >= 0; --i)
        value = (value << 8) | static_cast<std::uint8_t>(trailer[i]);
    return static_cast<std::int64_t>(value);
}

} // namespace

void Enc1::setKeyLength(int bits)
{
    m_keyLength = std::ranges::find(kKeyLengths, bits) != kKeyLengths.end() ? bits : 128;
}

void Enc1::setEncryptRounds(int rounds)
{
    m_encryptRounds = (rounds >= 1 && rounds <= 10) ? rounds : 1;
}

Enc1::Schedule Enc1::keySchedule(const QByteArray &key, int rounds)
{
    rounds = std::clamp(rounds, 15, 99);
    // The key is indexed modulo its highest index, not its length: the last byte is never read.
    const qsizetype highest = key.size() - 1;
    Schedule s {};
    Schedule k {};
    for (std::size_t i = 0; i < 256; ++i) {
        s[i] = static_cast<std::uint8_t>(i);
        if (highest > 0)
            k[i] = static_cast<std::uint8_t>(key[static_cast<qsizetype>(i) % highest]);
        else if (highest == 0)
            k[i] = static_cast<std::uint8_t>(key[0]);
    }

    std::uint8_t j = 7;
    for (int round = 0; round < rounds; ++round) {
        j = static_cast<std::uint8_t>(j + k[j] + s[j]);
        for (std::size_t i = 0; i < 256; ++i) {
            const std::uint8_t t = s[i];
            j = static_cast<std::uint8_t>(j + t);
            s[i] = s[j];
            s[j] = t;
        }
    }
    return s;
}

bool Enc1::ArcFour_String(QByteArray &data, bool encrypt) const
{
    if (StopProcessing() || m_password.isEmpty())
        return false;

    const Schedule schedule = keySchedule(prepareKey(m_password, m_keyLength / 8), kKeyRounds);

    if (!encrypt) {
        if (data.size() < kTrailerSize)
            return false;
        const std::int64_t scaled = decodeTrailer(data.right(kTrailerSize));
        data.chop(kTrailerSize);
        if (scaled % kTrailerScale != 0 || scaled / kTrailerScale != data.size() - 1)
            return false;
    }

    // The positions run on from pass to pass; only the table starts afresh each time.
    std::uint8_t i = 0;
    std::uint8_t j = 0;
    for (int pass = 1; pass <= m_encryptRounds; ++pass) {
        if (StopProcessing())
            return false;
        Schedule w = schedule;
        for (char &byte : data) {
            i = static_cast<std::uint8_t>(i + 1);
            j = static_cast<std::uint8_t>(j + w[i]);
            std::swap(w[i], w[j]);
            const std::uint8_t stream = w[static_cast<std::uint8_t>(w[i] + w[j])];
            byte = static_cast<char>(static_cast<std::uint8_t>(byte) ^ stream);
        }
        if (m_progress)
            m_progress(pass, m_encryptRounds);
    }

    if (encrypt)
        data.append(encodeTrailer(data.size() - 1));
    return true;
}

} // namespace sonivert

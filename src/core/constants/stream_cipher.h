#pragma once

#include <QByteArray>
#include <QString>
#include <array>
#include <cstdint>
#include <functional>

namespace sonivert {

// The stream cipher of the constant store, with its container: the enciphered body followed by
// an 8-byte trailer that records the plain length, so a deciphering can tell a damaged text.
class Enc1
{
public:
    int KeyLength() const { return m_keyLength; }
    // Bits; only the lengths the cipher knows are taken, any other value gives 128.
    void setKeyLength(int bits);

    int EncryptRounds() const { return m_encryptRounds; }
    // 1 to 10; anything else gives 1.
    void setEncryptRounds(int rounds);

    QByteArray Password() const { return m_password; }
    void setPassword(const QByteArray &bytes) { m_password = bytes; }
    // Text is trimmed and taken as Latin-1 bytes.
    void setPassword(const QString &text) { m_password = text.trimmed().toLatin1(); }

    // Called after every pass of the stream cipher with the pass number (from 1) and the count.
    void setProgressHandler(std::function<void(int pass, int passes)> handler)
    {
        m_progress = std::move(handler);
    }

    // Enciphers (body and trailer appended) or deciphers (trailer checked and removed) in place.
    // Returns false, leaving the data in an unspecified state, when the work fails.
    [[nodiscard]] bool ArcFour_String(QByteArray &data, bool encrypt) const;

    using Schedule = std::array<std::uint8_t, 256>;
    static Schedule keySchedule(const QByteArray &key, int rounds);

private:
    int m_keyLength = 128;
    int m_encryptRounds = 1;
    QByteArray m_password;
    std::function<void(int, int)> m_progress;
};

} // namespace sonivert

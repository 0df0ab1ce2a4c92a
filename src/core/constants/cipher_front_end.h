#pragma once

#include <QByteArray>
#include <QString>

namespace sonivert {

// The cipher front end: derives the key from the password with the hash front end and runs the
// stream cipher of Enc1 (cipher method 0, the only one provided). A failure raises the
// process-wide stop flag.
class Enc5
{
public:
    bool StopProcessing() const;
    void setStopProcessing(bool stop);

    int KeyLength() const { return m_keyLength; }
    void setKeyLength(int bits) { m_keyLength = bits; }

    // Kept for completeness; the stream cipher has no blocks.
    int BlockSize() const { return m_blockSize; }
    void setBlockSize(int bits) { m_blockSize = bits; }

    int CipherRounds() const { return m_cipherRounds; }
    void setCipherRounds(int rounds) { m_cipherRounds = rounds; }

    int HashMethod() const { return m_hashMethod; }
    void setHashMethod(int method) { m_hashMethod = method; }

    int CipherMethod() const { return m_cipherMethod; }
    void setCipherMethod(int method) { m_cipherMethod = method; }

    // Takes the trimmed text when it has 7 to 49 characters and returns whether it did; a
    // rejected text leaves the previous password in place.
    bool setPassword(const QString &text);

    // In place, with the current settings; false when the work fails.
    [[nodiscard]] bool EncryptString(QByteArray &data);
    [[nodiscard]] bool DecryptString(QByteArray &data);

private:
    bool run(QByteArray &data, bool encrypt);

    int m_keyLength = 128;
    int m_blockSize = 128;
    int m_cipherRounds = 1;
    int m_hashMethod = 0;
    int m_cipherMethod = 0;
    QByteArray m_password;
};

} // namespace sonivert

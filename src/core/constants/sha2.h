#pragma once

#include <QByteArray>

namespace sonivert {

// SHA-2 with 32-bit words: method 0 is SHA-224, method 1 SHA-256. Methods 2 to 5 are accepted
// as settings but not provided; hashing with them fails.
class Enc2
{
public:
    int HashRounds() const { return m_hashRounds; }
    // 1 to 10; anything else gives 1.
    void setHashRounds(int rounds);

    int HashMethod() const { return m_hashMethod; }
    // 0 to 5; anything else gives 1.
    void setHashMethod(int method);

    // The binary digest (28 or 32 bytes); each further round hashes the previous digest.
    // Empty when processing is stopped or the method is not provided.
    QByteArray HashString(const QByteArray &data) const;

private:
    int m_hashRounds = 1;
    int m_hashMethod = 1;
};

} // namespace sonivert

#pragma once

#include <QByteArray>

namespace sonivert {

// The hash front end: turns a password into key material. Method 0, the only one provided,
// is SHA-256 written out as 64 lower-case hexadecimal digits.
class Enc4
{
public:
    bool StopProcessing() const;
    void setStopProcessing(bool stop);

    int HashMethod() const { return m_hashMethod; }
    void setHashMethod(int method);

    int HashRounds() const { return m_hashRounds; }
    // Methods 0 to 12 and 20 to 23 take 1 to 10 rounds (else 1), the others 3 to 15 (else 3).
    void setHashRounds(int rounds);

    // False, with the result untouched, when the method is not provided or processing stops.
    [[nodiscard]] bool HashString(const QByteArray &data, QByteArray &result) const;

private:
    int m_hashMethod = 0;
    int m_hashRounds = 1;
};

} // namespace sonivert

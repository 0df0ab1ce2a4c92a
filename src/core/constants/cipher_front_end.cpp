#include "core/constants/cipher_front_end.h"

#include "core/constants/key_derivation.h"
#include "core/constants/stop_processing.h"
#include "core/constants/stream_cipher.h"

namespace sonivert {

bool Enc5::StopProcessing() const
{
    return sonivert::StopProcessing();
}

void Enc5::setStopProcessing(bool stop)
{
    sonivert::setStopProcessing(stop);
}

bool Enc5::setPassword(const QString &text)
{
    const QString trimmed = text.trimmed();
    if (trimmed.size() < 7 || trimmed.size() > 49)
        return false;
    m_password = trimmed.toLatin1();
    return true;
}

bool Enc5::EncryptString(QByteArray &data)
{
    return run(data, true);
}

bool Enc5::DecryptString(QByteArray &data)
{
    return run(data, false);
}

bool Enc5::run(QByteArray &data, bool encrypt)
{
    const bool usable = !StopProcessing() && !data.isEmpty() && m_password.size() >= 8
        && m_password.size() <= 50 && m_cipherMethod == 0;

    QByteArray keyMaterial;
    Enc4 hash;
    hash.setHashMethod(m_hashMethod);
    bool ok = usable && hash.HashString(m_password, keyMaterial);
    if (ok) {
        Enc1 cipher;
        cipher.setKeyLength(m_keyLength);
        cipher.setEncryptRounds(m_cipherRounds);
        cipher.setPassword(keyMaterial);
        ok = cipher.ArcFour_String(data, encrypt);
    }
    if (!ok)
        setStopProcessing(true);
    return ok;
}

} // namespace sonivert

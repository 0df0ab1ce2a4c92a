#include "core/constants/cipher_front_end.h"

#include "core/constants/key_derivation.h"
#include "core/constants/stop_processing.h"
#include "core/constants/stream_cipher.h"

namespace sonivert {

bool Enc5::StopProcessing() const
{
    return sonivert::StopProcessing();
}

void Enc5::SetStopProcessing(bool stop)
{
    sonivert::SetStopProcessing(stop);
}

bool Enc5::SetPassword(const QString &text)
{
    const QString trimmed = text.trimmed();
    if (trimmed.size() < 7 || trimmed.size() > 49)
        return false;
    m_password = trimmed.toLatin1();
    return true;
}

bool Enc5::EncryptString(QByteArray &data)
{
    return Run(data, true);
}

bool Enc5::DecryptString(QByteArray &data)
{
    return Run(data, false);
}

bool Enc5::Run(QByteArray &data, bool encrypt)
{
    const bool usable = !StopProcessing() && !data.isEmpty() && m_password.size() >= 8
        && m_password.size() <= 50 && m_cipherMethod == 0;

    QByteArray keyMaterial;
    Enc4 hash;
    hash.SetHashMethod(m_hashMethod);
    bool ok = usable && hash.HashString(m_password, keyMaterial);
    if (ok) {
        Enc1 cipher;
        cipher.SetKeyLength(m_keyLength);
        cipher.SetEncryptRounds(m_cipherRounds);
        cipher.SetPassword(keyMaterial);
        ok = cipher.ArcFour_String(data, encrypt);
    }
    if (!ok)
        SetStopProcessing(true);
    return ok;
}

} // namespace sonivert

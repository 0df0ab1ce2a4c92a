#include "core/constants/key_derivation.h"

#include "core/constants/sha2.h"
#include "core/constants/stop_processing.h"

namespace sonivert {

namespace {

bool takesFewRounds(int method)
{
    return (method >= 0 && method <= 12) || (method >= 20 && method <= 23);
}

} // namespace

bool Enc4::StopProcessing() const
{
    return sonivert::StopProcessing();
}

void Enc4::setStopProcessing(bool stop)
{
    sonivert::setStopProcessing(stop);
}

void Enc4::setHashMethod(int method)
{
    m_hashMethod = method;
    setHashRounds(m_hashRounds);
}

void Enc4::setHashRounds(int rounds)
{
    if (takesFewRounds(m_hashMethod))
        m_hashRounds = (rounds >= 1 && rounds <= 10) ? rounds : 1;
    else
        m_hashRounds = (rounds >= 3 && rounds <= 15) ? rounds : 3;
}

bool Enc4::HashString(const QByteArray &data, QByteArray &result) const
{
    if (StopProcessing() || m_hashMethod != 0)
        return false;
    Enc2 sha;
    sha.setHashMethod(1);
    sha.setHashRounds(m_hashRounds);
    const QByteArray digest = sha.HashString(data);
    if (digest.isEmpty())
        return false;
    result = digest.toHex();
    return true;
}

} // namespace sonivert

#include "core/constants/table_cipher.h"

#include "core/constants/cipher_front_end.h"

namespace sonivert {

namespace {

// Changing it makes every table enciphered so far unreadable; the build enciphers the product
// table again, but tables kept elsewhere (tests) must be made anew.
const QString &tablePassword()
{
    static const QString password = QStringLiteral("Seven bells, one tune.");
    return password;
}

void applyTableSettings(Enc5 &cipher, const QString &password)
{
    cipher.setStopProcessing(false);
    cipher.setPassword(password);
    cipher.setHashMethod(0);
    cipher.setCipherMethod(0);
    cipher.setKeyLength(8); // the stream cipher turns this into 128 bits
    cipher.setBlockSize(128);
    cipher.setCipherRounds(5);
}

int hexDigit(QChar c)
{
    const char16_t u = c.unicode();
    if (u >= u'0' && u <= u'9')
        return u - u'0';
    if (u >= u'a' && u <= u'f')
        return u - u'a' + 10;
    if (u >= u'A' && u <= u'F')
        return u - u'A' + 10;
    return -1;
}

} // namespace

std::optional<QByteArray> decodeHexText(const QString &hexText)
{
    QStringView digits = QStringView(hexText).trimmed();
    if (digits.startsWith(QLatin1String("&H"), Qt::CaseInsensitive))
        digits = digits.mid(2);
    if (digits.size() % 2 != 0)
        return std::nullopt;

    QByteArray bytes;
    bytes.reserve(digits.size() / 2);
    for (qsizetype i = 0; i < digits.size(); i += 2) {
        const int high = hexDigit(digits[i]);
        const int low = hexDigit(digits[i + 1]);
        if (high < 0 || low < 0)
            return std::nullopt;
        bytes.append(static_cast<char>(high * 16 + low));
    }
    return bytes;
}

QString DecipherTable(const QString &hexText)
{
    std::optional<QByteArray> bytes = decodeHexText(hexText);
    if (!bytes)
        return QString();
    Enc5 cipher;
    applyTableSettings(cipher, tablePassword());
    if (!cipher.DecryptString(*bytes))
        return QString();
    const qsizetype end = bytes->indexOf('\0');
    return QString::fromLatin1(end < 0 ? *bytes : bytes->left(end));
}

QString encipherTable(const QString &tableText)
{
    return encipherTable(tableText, tablePassword());
}

QString encipherTable(const QString &tableText, const QString &password)
{
    QByteArray bytes = tableText.toLatin1();
    Enc5 cipher;
    applyTableSettings(cipher, password);
    if (!cipher.EncryptString(bytes))
        return QString();
    return QString::fromLatin1(bytes.toHex().toUpper());
}

} // namespace sonivert

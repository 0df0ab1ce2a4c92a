#include "support/protected_media.h"

#include <QFile>
#include <QtEndian>

namespace sonivert::test {

namespace {

QByteArray guidBytes(const char *hex)
{
    return QByteArray::fromHex(hex);
}

// As stored in the file: the first three groups little-endian.
const QByteArray contentEncryption = guidBytes("FBB3112223BDD211B4B700A0C955FC6E");
const QByteArray extendedContentEncryption = guidBytes("14E68A292226174CB935DAE07EE9289C");
const QByteArray streamProperties = guidBytes("9107DCB7B7A9CF118EE600C00C205365");
const QByteArray asfHeader = guidBytes("3026B2758E66CF11A6D900AA0062CE6C");

constexpr int headerFields = 30;

bool readAll(const QString &path, QByteArray &data)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return false;
    data = file.readAll();
    return true;
}

bool writeAll(const QString &path, const QByteArray &data)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly | QIODevice::Truncate) && file.write(data) == data.size();
}

quint64 objectSize(const QByteArray &data, qsizetype at)
{
    return qFromLittleEndian<quint64>(data.constData() + at + 16);
}

void setObjectSize(QByteArray &data, qsizetype at, quint64 size)
{
    qToLittleEndian<quint64>(size, data.data() + at + 16);
}

// Object GUID, size, then the fields of the scheme with nothing in them but its name.
QByteArray protectionObject(const QByteArray &guid)
{
    QByteArray body;
    const auto addField = [&body](const QByteArray &field) {
        char length[4];
        qToLittleEndian<quint32>(quint32(field.size()), length);
        body.append(length, 4).append(field);
    };
    if (guid == contentEncryption) {
        addField(QByteArray()); // secret data
        addField(QByteArray("DRM", 4)); // protection type
        addField(QByteArray()); // key id
        addField(QByteArray()); // licence address
    } else {
        addField(QByteArray("<WRMHEADER/>"));
    }
    QByteArray object = guid;
    object.append(8, '\0').append(body);
    setObjectSize(object, 0, quint64(object.size()));
    return object;
}

} // namespace

bool makeEncryptedMp4(const QString &path, const ClipOptions &options)
{
    ClipOptions encrypted = options;
    encrypted.extraOutputArgs << QStringLiteral("-encryption_scheme")
                              << QStringLiteral("cenc-aes-ctr") << QStringLiteral("-encryption_key")
                              << QStringLiteral("00112233445566778899aabbccddeeff")
                              << QStringLiteral("-encryption_kid")
                              << QStringLiteral("0123456789abcdef0123456789abcdef");
    return makeClip(path, encrypted);
}

bool patchMp4Box(const QString &path, const char *type, int offset, unsigned char value)
{
    QByteArray data;
    if (!readAll(path, data))
        return false;
    const qsizetype at = data.indexOf(type) - 4;
    if (at < 0 || at + offset >= data.size())
        return false;
    data[at + offset] = char(value);
    return writeAll(path, data);
}

bool protectAsf(const QString &path, AsfProtection protection)
{
    QByteArray data;
    if (!readAll(path, data) || !data.startsWith(asfHeader))
        return false;
    if (protection == AsfProtection::EncryptedStreamFlag) {
        const qsizetype at = data.indexOf(streamProperties);
        if (at < 0)
            return false;
        data[at + 73] = char(quint8(data.at(at + 73)) | 0x80); // high byte of the flags
        return writeAll(path, data);
    }
    const QByteArray object = protectionObject(protection == AsfProtection::ContentEncryption
            ? contentEncryption
            : extendedContentEncryption);
    data.insert(headerFields, object);
    setObjectSize(data, 0, objectSize(data, 0) + quint64(object.size()));
    const quint32 count = qFromLittleEndian<quint32>(data.constData() + 24);
    qToLittleEndian<quint32>(count + 1, data.data() + 24);
    return writeAll(path, data);
}

bool breakAsfHeader(const QString &path)
{
    QByteArray data;
    if (!readAll(path, data) || !data.startsWith(asfHeader))
        return false;
    qsizetype at = headerFields;
    while (at + 24 <= data.size()) {
        const QByteArray guid = data.mid(at, 16);
        if (guid != contentEncryption && guid != extendedContentEncryption) {
            setObjectSize(data, at, 10);
            return writeAll(path, data);
        }
        at += qsizetype(objectSize(data, at));
    }
    return false;
}

} // namespace sonivert::test

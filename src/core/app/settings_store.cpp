#include "core/app/settings_store.h"

#include <QFileInfo>
#include <QSettings>
#include <memory>

namespace sonivert {

namespace {

std::unique_ptr<QSettings> openSettings(const QString &key)
{
    const QStringList parts = key.split(QLatin1Char('/'), Qt::SkipEmptyParts);
    const QString application = parts.value(parts.size() - 1, QStringLiteral("Sonivert"));
    const QString organisation = parts.value(parts.size() - 2, QStringLiteral("Corvallo"));
    return std::make_unique<QSettings>(
        QSettings::IniFormat, QSettings::UserScope, organisation, application);
}

} // namespace

QString settingsFilePath(const QString &key)
{
    return openSettings(key)->fileName();
}

bool RegWriteText(const QString &key, const QString &name, const QString &text)
{
    return RegWriteTexts(key, { { name, text } });
}

bool RegWriteTexts(const QString &key, const SettingTexts &texts)
{
    auto settings = openSettings(key);
    bool named = true;
    for (const auto &[name, text] : texts) {
        if (name.isEmpty())
            named = false;
        else
            settings->setValue(name, text);
    }
    settings->sync();
    return named && settings->status() == QSettings::NoError;
}

QString RegReadText(const QString &key, const QString &name)
{
    // QSettings never creates its file for a read, so a missing key stays missing.
    if (name.isEmpty() || !QFileInfo::exists(settingsFilePath(key)))
        return QString();
    auto settings = openSettings(key);
    if (settings->status() != QSettings::NoError)
        return QString();
    const QVariant value = settings->value(name);
    if (!value.isValid())
        return QString();
    // A list value ("a, b" in the file) comes back joined as written.
    if (value.typeId() == QMetaType::QStringList)
        return value.toStringList().join(QStringLiteral(", "));
    return value.toString();
}

bool textToBool(const QString &text, bool fallback)
{
    const QString t = text.trimmed();
    if (t.compare(QLatin1String("true"), Qt::CaseInsensitive) == 0)
        return true;
    if (t.compare(QLatin1String("false"), Qt::CaseInsensitive) == 0)
        return false;
    bool ok = false;
    const double number = t.toDouble(&ok);
    return ok ? number != 0 : fallback;
}

LoadedSettings LoadSettings(const QString &key)
{
    LoadedSettings loaded;
    loaded.updateActive = textToBool(RegReadText(key, QStringLiteral("UpdateActive")), true);
    return loaded;
}

} // namespace sonivert

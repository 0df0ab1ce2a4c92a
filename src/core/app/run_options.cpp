#include "core/app/run_options.h"

#include "core/app/settings_store.h"
#include "core/convert/run_progress.h"

namespace sonivert {

RunOptions::RunOptions(const QString &settingsKey, QObject *parent)
    : QObject(parent)
    , m_settingsKey(settingsKey)
{
    m_threadMode = textToBool(RegReadText(m_settingsKey, QStringLiteral("ThreadMode")), false);
    const QString count = RegReadText(m_settingsKey, QStringLiteral("ThreadCount")).trimmed();
    if (!count.isEmpty())
        m_threadCountText = count;
    m_cover = coverChoiceFromName(
        RegReadText(m_settingsKey, QStringLiteral("Cover")).trimmed().toLower().toStdString());
    m_splitChapters
        = textToBool(RegReadText(m_settingsKey, QStringLiteral("SplitChapters")), false);
    m_segments = textToBool(RegReadText(m_settingsKey, QStringLiteral("Segments")), true);
    bool ok = false;
    const double stall = RegReadText(m_settingsKey, QStringLiteral("StallTimeout")).toDouble(&ok);
    if (ok && stall >= 1)
        m_stallSeconds = stall;
}

void RunOptions::remember() const
{
    RegWriteTexts(m_settingsKey, rememberedTexts());
}

SettingTexts RunOptions::rememberedTexts() const
{
    return { { QStringLiteral("OutputPath"), m_outputFolder.trimmed() },
        { QStringLiteral("ThreadMode"),
            m_threadMode ? QStringLiteral("true") : QStringLiteral("false") },
        { QStringLiteral("ThreadCount"), m_threadCountText },
        { QStringLiteral("Cover"), QString::fromLatin1(coverChoiceName(m_cover)) },
        { QStringLiteral("SplitChapters"),
            m_splitChapters ? QStringLiteral("true") : QStringLiteral("false") },
        { QStringLiteral("Segments"),
            m_segments ? QStringLiteral("true") : QStringLiteral("false") } };
}

void RunOptions::setSplitChapters(bool on)
{
    if (on == m_splitChapters)
        return;
    m_splitChapters = on;
    emit splitChaptersChanged(on);
}

void RunOptions::setCover(CoverChoice cover)
{
    if (cover == m_cover)
        return;
    m_cover = cover;
    emit coverChanged(cover);
}

void RunOptions::setOutputFolder(const QString &folder)
{
    if (folder == m_outputFolder)
        return;
    m_outputFolder = folder;
    emit outputFolderChanged(folder);
}

void RunOptions::chooseOutputFolder(const QString &folder)
{
    setOutputFolder(folder);
    RegWriteText(m_settingsKey, QStringLiteral("OutputPath"), folder);
}

void RunOptions::setThreadMode(bool on)
{
    if (on == m_threadMode)
        return;
    m_threadMode = on;
    emit threadModeChanged(on);
}

void RunOptions::setThreadCountText(const QString &text)
{
    if (text == m_threadCountText)
        return;
    m_threadCountText = text;
    emit threadCountTextChanged(text);
}

void RunOptions::setSegments(bool on)
{
    if (on == m_segments)
        return;
    m_segments = on;
    emit segmentsChanged(on);
}

int RunOptions::threadCount() const
{
    return threadCountFor(m_threadMode, m_threadCountText);
}

} // namespace sonivert

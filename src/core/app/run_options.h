#pragma once

#include "core/app/settings_store.h"
#include "core/media/cover_art.h"

#include <QObject>
#include <QString>

namespace sonivert {

// What the person chose for the next run besides the output settings: the output folder and the
// thread options of the group "Other". The boxes of the main window show these and pass on what
// is typed; a run, the diagnosis and the folder commands read them here.
class RunOptions : public QObject
{
    Q_OBJECT
public:
    explicit RunOptions(const QString &settingsKey, QObject *parent = nullptr);

    QString outputFolder() const { return m_outputFolder; }
    void setOutputFolder(const QString &folder);
    // The folder chooser's pick, remembered as "OutputPath" for the next start.
    void chooseOutputFolder(const QString &folder);

    // Stores the folder as the box shows it (typed or chosen) and the thread options, so that the
    // next start offers them again; the thread options are read back when this object is made.
    void remember() const;
    // What remember() stores, for a caller that writes it together with other values.
    SettingTexts rememberedTexts() const;

    bool threadMode() const { return m_threadMode; }
    QString threadCountText() const { return m_threadCountText; }
    void setThreadMode(bool on);
    void setThreadCountText(const QString &text);
    // The thread count a run starts with (ThreadCountFor).
    int threadCount() const;
    // Whether a long file that starts while threads are free is encoded in segments at once:
    // "Segments" in the settings, on unless set to false.
    bool segments() const { return m_segments; }
    void setSegments(bool on);

    // Where the outputs' cover picture comes from, remembered as "Cover" (source, frame, none).
    CoverChoice cover() const { return m_cover; }
    void setCover(CoverChoice cover);
    // One output per chapter of the files that have chapters, remembered as "SplitChapters".
    bool splitChapters() const { return m_splitChapters; }
    void setSplitChapters(bool on);

    // How long a task may make no progress before it is ended: "StallTimeout" in the settings
    // file, in seconds (for an output folder on a slow network mount, say), else 120.
    double stallSeconds() const { return m_stallSeconds; }

signals:
    void outputFolderChanged(const QString &folder);
    void threadModeChanged(bool on);
    void threadCountTextChanged(const QString &text);
    void coverChanged(CoverChoice cover);
    void splitChaptersChanged(bool on);
    void segmentsChanged(bool on);

private:
    QString m_settingsKey;
    QString m_outputFolder;
    bool m_threadMode = false;
    QString m_threadCountText = QStringLiteral("1");
    bool m_segments = true;
    double m_stallSeconds = 120;
    CoverChoice m_cover = CoverChoice::Source;
    bool m_splitChapters = false;
};

} // namespace sonivert

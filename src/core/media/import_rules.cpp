#include "core/media/import_rules.h"

#include "core/app/settings_store.h"
#include "core/media/probe.h"

#include <QFileInfo>

namespace sonivert {

namespace {

struct FilterEntry
{
    const char *label;
    const char *patterns;
};

// Label and patterns of each dialog entry; the labels keep their own pattern lists verbatim.
constexpr FilterEntry filterEntries[] = {
    { "All Video Files",
        "*.3gp;*.3gpp;*.3gp2;*.3g2;*.3gpp2;*.avi;*.ivf;*.div;*.divx;*.mts;*.m2ts;*.dv;*.vob;*.flv;"
        "*.f4v;*.m4v;*.mkv;*.mpg;*.mpeg;*.mpa;*.dat;*.mp4;*.mxf;*.dvr-ms;*.nsv;*.ogv;*.mov;*.qt;"
        "*.rm;*.rmvb;*.h264;*.tivo;*.ts;*.tp;*.trp;*.vro;*.wmv;*.asf;*.wtv;*.webm" },
    { "3GPP Files (*.3gp;*.3gpp)", "*.3gp;*.3gpp" },
    { "3GPP2 Files (*.3gp2;*.3g2;*.3gpp2;)", "*.3gp2;*.3g2;*.3gpp2" },
    { "Apple Video Files (*.m4v)", "*.m4v" },
    { "Audio Video Interleave Files (*.avi;*.ivf;*.div;*.divx)", "*.avi;*.ivf;*.div;*.divx" },
    { "AVCHD Files (*.mts;*.m2ts)", "*.mts;*.m2ts" },
    { "Blu-ray (*.m2ts)", "*.m2ts" },
    { "Digital Video Files (*.dv)", "*.dv" },
    { "Flash Video Files (*.flv;*.f4v)", "*.flv;*.f4v" },
    { "Matroska Video (*.mkv)", "*.mkv" },
    { "MPEG Video Files (*.mpg;*.mpeg;*.mpa;*.dat;*.vob)", "*.mpg;*.mpeg;*.mpa;*.dat;*.vob" },
    { "MPEG4 Video Files (*.mp4;*.m4v)", "*.mp4;*.m4v" },
    { "MXF Files (*.mxf)", "*.mxf" },
    { "Microsoft Digital Video Files (*.dvr-ms)", "*.dvr-ms" },
    { "Nullsoft Stream Video Files (*.nsv)", "*.nsv" },
    { "OGV Files (*.ogv)", "*.ogv" },
    { "Quick Time Files (*.mov;*.qt)", "*.mov;*.qt" },
    { "Real Media Files (*.rm;*.rmvb)", "*.rm;*.rmvb" },
    { "Raw h.264 Video Files (*.h264)", "*.h264" },
    { "Tivo Video Files (*.tivo)", "*.tivo" },
    { "Unprotected VOB Files (*.vob)", "*.vob" },
    { "Video CD Files (*.dat)", "*.dat" },
    { "Video Transport Stream Files (*.ts;*.tp;*.trp)", "*.ts;*.tp;*.trp" },
    { "VRO Files (*.vro)", "*.vro" },
    { "Windows Media Files (*.wmv;*.asf)", "*.wmv;*.asf" },
    { "Windows Recorded TV Show Files (*.wtv)", "*.wtv" },
    { "WebM Files (*.webm)", "*.webm" },
};

} // namespace

QString supportedExtensionsText()
{
    return QStringLiteral("|3gp|3gpp|3gp2|3g2|3gpp2|avi|ivf|div|divx|mts|m2ts|dv|vob|flv|f4v|flc|"
                          "fli|m4v|mkv|mpg|mpeg|mpa|dat|mp4|mxf|dvr-ms|nsv|ogv|mov|qt|rm|rmvb|h264|"
                          "tivo|ts|tp|trp|vro|wmv|asf|wtv|webm|");
}

bool isSupportedExtension(const QString &extension)
{
    const QString e = extension.toLower();
    if (e.isEmpty() || e.contains(QLatin1Char('|')))
        return false;
    return supportedExtensionsText().contains(QLatin1Char('|') + e + QLatin1Char('|'));
}

bool isSupportedFile(const QString &path)
{
    return isSupportedExtension(QFileInfo(path).suffix());
}

QStringList importDialogFilters()
{
    QStringList filters;
    for (const FilterEntry &entry : filterEntries) {
        const QStringList patterns
            = QString::fromLatin1(entry.patterns).split(QLatin1Char(';'), Qt::SkipEmptyParts);
        QStringList all = patterns;
        // Linux file names are case-sensitive; "CLIP.MP4" must show up too.
        for (const QString &pattern : patterns)
            all.append(pattern.toUpper());
        filters.append(QString::fromLatin1(entry.label) + QStringLiteral(" (")
            + all.join(QLatin1Char(' ')) + QLatin1Char(')'));
    }
    return filters;
}

QString rememberInputFolder(const QString &firstPath, const QString &settingsKey)
{
    const QString folder = folderOf(firstPath.trimmed());
    RegWriteText(settingsKey, QStringLiteral("InputPath"), folder);
    return folder;
}

} // namespace sonivert

#include "core/convert/chapter_split.h"

#include <QFileInfo>

namespace sonivert {

namespace {

constexpr qsizetype MaxTitleLength = 120;

QString safeForFileNames(QString text)
{
    for (QChar &c : text) {
        if (c.unicode() < 0x20 || QStringLiteral("/\\:*?\"<>|").contains(c))
            c = QLatin1Char('_');
    }
    text = text.simplified().left(MaxTitleLength);
    // Windows file systems drop trailing dots and spaces.
    while (text.endsWith(QLatin1Char('.')) || text.endsWith(QLatin1Char(' ')))
        text.chop(1);
    return text;
}

void setTag(SongTags &tags, const QString &key, const QString &value)
{
    tags.removeIf([&key](const QPair<QString, QString> &tag) { return tag.first == key; });
    tags.append({ key, value });
}

} // namespace

QString chapterNameSuffix(int number, int total, const QString &title)
{
    const int width = std::max(2, int(QString::number(total).size()));
    QString name = QStringLiteral(" - %1").arg(number, width, 10, QLatin1Char('0'));
    const QString safeTitle = safeForFileNames(title);
    if (!safeTitle.isEmpty())
        name += QStringLiteral(" - ") + safeTitle;
    return name;
}

QList<TaskPlan> chapterTaskPlans(const TaskPlan &plan, const QString &input)
{
    std::vector<ChapterMark> chapters
        = chaptersWithin(plan.source.chapters, plan.cut.startUs, plan.cut.lengthUs);
    std::erase_if(chapters, [](const ChapterMark &c) { return c.endUs <= c.startUs; });
    QList<TaskPlan> parts;
    const int total = int(chapters.size());
    const QString sourceName = QFileInfo(input).completeBaseName();
    QString album;
    for (const auto &[key, value] : plan.source.tags) {
        if (key == QLatin1String("title"))
            album = value;
    }
    if (album.isEmpty())
        album = sourceName;
    for (int i = 0; i < total; ++i) {
        const ChapterMark &chapter = chapters[size_t(i)];
        const QString title = QString::fromStdString(chapter.title);
        TaskPlan part = plan;
        part.cut.startUs = std::max<qint64>(0, plan.cut.startUs) + chapter.startUs;
        part.cut.lengthUs = chapter.endUs - chapter.startUs;
        // The last chapter of an uncut row takes the sound to its end, which a chapter list
        // often stops short of by a frame.
        if (i == total - 1 && plan.cut.lengthUs < 0 && plan.source.durationUs > 0
            && part.cut.startUs + part.cut.lengthUs >= plan.source.durationUs - 100'000)
            part.cut.lengthUs = -1;
        part.nameSuffix = plan.nameSuffix + chapterNameSuffix(i + 1, total, title);
        part.extras.chapters = false;
        setTag(part.source.tags, QStringLiteral("title"),
            title.isEmpty() ? QStringLiteral("Chapter %1").arg(i + 1) : title);
        setTag(part.source.tags, QStringLiteral("album"), album);
        setTag(part.source.tags, QStringLiteral("track"),
            QStringLiteral("%1/%2").arg(i + 1).arg(total));
        parts.append(part);
    }
    return parts;
}

} // namespace sonivert

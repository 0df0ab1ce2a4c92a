#include "cli/settings_options.h"

#include <QDir>
#include <QJsonArray>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <algorithm>
#include <array>

namespace sonivert::cli {

namespace {

bool takeValue(QStringList &args, int &i, const QString &name, QString &value, QString &error)
{
    const QString arg = args.at(i);
    const QString prefix = name + QLatin1Char('=');
    if (arg.startsWith(prefix)) {
        value = arg.mid(prefix.size());
        args.removeAt(i);
        return true;
    }
    if (i + 1 >= args.size()) {
        error = name + QStringLiteral(" needs a value");
        return false;
    }
    value = args.at(i + 1);
    args.remove(i, 2);
    return true;
}

bool isOption(const QString &arg, const QString &name)
{
    return arg == name || arg.startsWith(name + QLatin1Char('='));
}

QString quotedList(const QStringList &items)
{
    if (items.isEmpty())
        return QStringLiteral("none");
    QStringList quoted;
    for (const QString &item : items)
        quoted.append(QLatin1Char('"') + item + QLatin1Char('"'));
    return quoted.join(QStringLiteral(", "));
}

// "22050" for "22050 Hz", "128" for "128 kbps": the number alone names the entry when exactly one
// entry starts with it followed by its unit.
QString entryWithUnit(const ChoiceList &choices, const QString &value)
{
    bool isNumber = false;
    value.trimmed().toInt(&isNumber);
    QString found;
    for (const QString &text : choices.texts()) {
        if (isNumber && text.section(QLatin1Char(' '), 0, 0) == value.trimmed()) {
            if (!found.isEmpty())
                return QString();
            found = text;
        }
    }
    return found;
}

int findPreset(const QList<PresetEntry> &presets, const QString &given)
{
    for (int i = 0; i < presets.size(); ++i) {
        if (presets.at(i).id == given || presets.at(i).text == given)
            return i;
    }
    for (int i = 0; i < presets.size(); ++i) {
        if (presets.at(i).id.compare(given, Qt::CaseInsensitive) == 0
            || presets.at(i).text.compare(given, Qt::CaseInsensitive) == 0)
            return i;
    }
    return -1;
}

bool assignNumber(OutputSettings &settings, NumberId id, const QString &name, const QString &value,
    const QString &unlockedBy, QString &error)
{
    bool ok = false;
    const int number = value.trimmed().toInt(&ok);
    if (!ok) {
        error = name + QStringLiteral(" takes a whole number, not \"") + value + QLatin1Char('"');
        return false;
    }
    const NumberSetting &setting = settings.number(id);
    if (!setting.visible || !setting.enabled) {
        error = name + QStringLiteral(" cannot be changed with this preset and these settings (")
            + unlockedBy + QLatin1Char(')');
        return false;
    }
    settings.setNumber(id, number);
    return true;
}

bool assign(OutputSettings &settings, const QString &name, const QString &value, QString &error)
{
    if (const auto list = choiceListFromName(name)) {
        const ChoiceList &choices = settings.choice(*list);
        const QString listName = choiceListName(*list);
        if (!choices.enabled) {
            error = listName + QStringLiteral(" is disabled with this preset and these settings");
            return false;
        }
        if (!settings.chooseEntryText(*list, value)
            && !settings.chooseEntryText(*list, entryWithUnit(choices, value))) {
            error = QLatin1Char('"') + value + QStringLiteral("\" is not an entry of ") + listName
                + QStringLiteral("; its entries are: ") + quotedList(choices.texts());
            return false;
        }
        return true;
    }
    if (name.compare(QLatin1String("Width"), Qt::CaseInsensitive) == 0)
        return assignNumber(settings, NumberId::Width, QStringLiteral("Width"), value,
            QStringLiteral("it needs FrameSize=Custom and no preset lock"), error);
    if (name.compare(QLatin1String("Height"), Qt::CaseInsensitive) == 0)
        return assignNumber(settings, NumberId::Height, QStringLiteral("Height"), value,
            QStringLiteral("it needs FrameSize=Custom and no preset lock"), error);
    if (name.compare(QLatin1String("VideoBitrateValue"), Qt::CaseInsensitive) == 0)
        return assignNumber(settings, NumberId::VideoBitrate, QStringLiteral("VideoBitrateValue"),
            value, QStringLiteral("it needs VideoBitrate=Custom and no preset lock"), error);
    if (name.compare(QLatin1String("QualityLevel"), Qt::CaseInsensitive) == 0) {
        const auto level = qualityLevelFromName(value);
        if (!level) {
            error = QLatin1Char('"') + value
                + QStringLiteral("\" is not a quality level; the levels are: \"High\", "
                                 "\"Standard\", \"SmallSize\"");
            return false;
        }
        if (!settings.qualityEnabled()) {
            error = QStringLiteral("QualityLevel is fixed by this preset");
            return false;
        }
        settings.chooseQualityLevel(*level);
        return true;
    }
    QStringList names;
    for (int i = 0; i < ChoiceListCount; ++i)
        names.append(choiceListName(ChoiceListId(i)));
    names << QStringLiteral("Width") << QStringLiteral("Height")
          << QStringLiteral("VideoBitrateValue") << QStringLiteral("QualityLevel");
    error = QStringLiteral("unknown setting \"") + name + QStringLiteral("\"; the settings are: ")
        + names.join(QStringLiteral(", "));
    return false;
}

} // namespace

bool takeSettingsOptions(QStringList &args, SettingsOptions &options, QString &error)
{
    int i = 0;
    while (i < args.size()) {
        const QString arg = args.at(i);
        QString value;
        if (isOption(arg, QStringLiteral("--format"))) {
            if (!takeValue(args, i, QStringLiteral("--format"), options.format, error))
                return false;
        } else if (isOption(arg, QStringLiteral("--preset"))) {
            if (!takeValue(args, i, QStringLiteral("--preset"), options.preset, error))
                return false;
        } else if (isOption(arg, QStringLiteral("--set"))) {
            if (!takeValue(args, i, QStringLiteral("--set"), value, error))
                return false;
            const qsizetype equals = value.indexOf(QLatin1Char('='));
            if (equals <= 0) {
                error = QStringLiteral("--set needs LIST=ENTRY, not \"") + value + QLatin1Char('"');
                return false;
            }
            options.assignments.append({ value.left(equals).trimmed(), value.mid(equals + 1) });
        } else {
            ++i;
        }
    }
    return true;
}

bool loadCliCatalogue(Catalogue &catalogue, QString &error)
{
    QTemporaryDir folder;
    if (!folder.isValid() || !loadBuiltInCatalogue(catalogue, folder.path())) {
        error = QStringLiteral("the built-in format catalogue could not be unpacked to the "
                               "temporary folder (")
            + QDir::tempPath() + QLatin1Char(')');
        return false;
    }
    return true;
}

QStringList offeredKeywords(const Catalogue &catalogue)
{
    return ListFormatKeywords(catalogue.presets, OfferedMaker)
        .split(QLatin1Char('|'), Qt::SkipEmptyParts);
}

QString resolveFormatKeyword(const Catalogue &catalogue, const QString &given)
{
    const QStringList keywords = offeredKeywords(catalogue);
    for (const QString &keyword : keywords) {
        if (keyword == given.trimmed())
            return keyword;
    }
    for (const QString &keyword : keywords) {
        if (keyword.compare(given.trimmed(), Qt::CaseInsensitive) == 0)
            return keyword;
    }
    // A short name is one word of exactly one family's keyword: "ogg" for "OGG Vorbis", "m4a"
    // for "AAC (M4A)".
    static const QRegularExpression wordBreak(QStringLiteral("[^A-Za-z0-9]+"));
    QString found;
    for (const QString &keyword : keywords) {
        const QStringList words = keyword.split(wordBreak, Qt::SkipEmptyParts);
        const bool matches = std::any_of(words.begin(), words.end(), [&given](const QString &w) {
            return w.compare(given.trimmed(), Qt::CaseInsensitive) == 0;
        });
        if (matches && !found.isEmpty())
            return QString();
        if (matches)
            found = keyword;
    }
    return found;
}

bool applySettingsOptions(OutputSettings &settings, const SettingsOptions &options, QString &error)
{
    const QStringList keywords = offeredKeywords(settings.catalogue());
    if (keywords.isEmpty()) {
        error = QStringLiteral("the format catalogue offers no format");
        return false;
    }
    QString keyword = keywords.first();
    if (!options.format.isEmpty()) {
        keyword = resolveFormatKeyword(settings.catalogue(), options.format);
        if (keyword.isEmpty()) {
            error = QStringLiteral("unknown format \"") + options.format
                + QStringLiteral("\"; the formats are: ") + quotedList(keywords);
            return false;
        }
    }
    settings.selectFormat(keyword);

    if (!options.preset.isEmpty()) {
        const int index = findPreset(settings.offeredPresets(), options.preset);
        if (index < 0) {
            QStringList names;
            for (const PresetEntry &entry : settings.offeredPresets())
                names.append(entry.text + QStringLiteral(" (") + entry.id + QLatin1Char(')'));
            error = QStringLiteral("no preset \"") + options.preset + QStringLiteral("\" in \"")
                + keyword + QStringLiteral("\"; its presets are: ")
                + names.join(QStringLiteral(", "));
            return false;
        }
        settings.selectMainPreset(index);
    }

    for (const auto &[name, value] : options.assignments) {
        if (!assign(settings, name, value, error))
            return false;
    }
    return true;
}

QJsonObject outputSettingsJson(const OutputSettings &settings)
{
    QJsonObject lists;
    for (int i = 0; i < ChoiceListCount; ++i) {
        const ChoiceList &list = settings.choice(ChoiceListId(i));
        lists.insert(choiceListName(ChoiceListId(i)),
            QJsonObject { { QStringLiteral("entries"), QJsonArray::fromStringList(list.texts()) },
                { QStringLiteral("selected"), list.selectedText() },
                { QStringLiteral("enabled"), list.enabled } });
    }
    QJsonObject root { { QStringLiteral("lists"), lists } };
    const std::array<std::pair<QString, NumberId>, 3> numbers = { {
        { QStringLiteral("Width"), NumberId::Width },
        { QStringLiteral("Height"), NumberId::Height },
        { QStringLiteral("VideoBitrateValue"), NumberId::VideoBitrate },
    } };
    for (const auto &[name, id] : numbers) {
        const NumberSetting &n = settings.number(id);
        root.insert(name,
            QJsonObject { { QStringLiteral("value"), n.value },
                { QStringLiteral("min"), n.minimum }, { QStringLiteral("max"), n.maximum },
                { QStringLiteral("enabled"), n.enabled && n.visible } });
    }
    root.insert(QStringLiteral("QualityLevel"), qualityLevelName(settings.qualityLevel()));
    return root;
}

} // namespace sonivert::cli

#include "gui/media/frm_properties.h"

#include "core/media/audio_tracks.h"
#include "gui/app/open_folder.h"
#include "gui/media/info_labels.h"

#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

namespace sonivert {

namespace {

// Captions of lbl_Titles; 13 and 18 head the audio and tag groups.
const char *const captions[PropertiesLabelCount] = {
    "Name:",
    "Extension:",
    "Type:",
    "Size:",
    "Created:",
    "Accessed:",
    "Modified:",
    "Attributes:",
    "Video codec:",
    "Frame size:",
    "Bit rate:",
    "Frame rate:",
    "Aspect ratio:",
    "Audio",
    "Audio codec:",
    "Bit rate:",
    "Sample rate:",
    "Channels:",
    "Tags",
    "Title:",
    "Comment:",
    "Author:",
    "Album:",
    "Year:",
    "Track:",
    "Genre:",
    "Copyright:",
};

bool isGroupHeading(int index)
{
    return index == 13 || index == 18;
}

} // namespace

frmProperties::frmProperties(const MediaItem &item, QWidget *parent)
    : QDialog(parent)
    , m_title(new QLabel(this))
    , m_fileName(new QLineEdit(this))
    , m_close(new QPushButton(QStringLiteral("Close"), this))
    , m_show(new QPushButton(QStringLiteral("Show in Folder"), this))
{
    setObjectName(QStringLiteral("frmProperties"));
    setWindowTitle(QStringLiteral("Properties"));
    m_title->setObjectName(QStringLiteral("lbl_Title"));
    QFont heading = m_title->font();
    heading.setBold(true);
    heading.setPointSize(heading.pointSize() + 2);
    m_title->setFont(heading);
    m_fileName->setObjectName(QStringLiteral("Txt_FileName"));
    m_fileName->setReadOnly(true);
    m_close->setObjectName(QStringLiteral("Cmd_Properties_0"));
    m_show->setObjectName(QStringLiteral("Cmd_Properties_1"));
    m_close->setDefault(true);

    auto *grid = new QGridLayout;
    grid->setHorizontalSpacing(12);
    for (int i = 0; i < PropertiesLabelCount; ++i) {
        auto *caption = new QLabel(QString::fromLatin1(captions[i]), this);
        caption->setObjectName(QStringLiteral("lbl_Titles_%1").arg(i));
        auto *value = new QLabel(this);
        value->setObjectName(QStringLiteral("lbl_Infos_%1").arg(i));
        value->setTextFormat(Qt::PlainText);
        value->setTextInteractionFlags(Qt::TextSelectableByMouse);
        m_titles.append(caption);
        m_infos.append(value);
        if (isGroupHeading(i)) {
            QFont bold = caption->font();
            bold.setBold(true);
            caption->setFont(bold);
            grid->addWidget(caption, i, 0, 1, 2);
            value->hide();
        } else {
            grid->addWidget(caption, i, 0);
            grid->addWidget(value, i, 1);
        }
    }
    grid->setColumnStretch(1, 1);

    auto *buttons = new QHBoxLayout;
    buttons->addWidget(m_show);
    buttons->addStretch();
    buttons->addWidget(m_close);

    auto *layout = new QVBoxLayout(this);
    layout->addWidget(m_title);
    layout->addWidget(m_fileName);
    layout->addLayout(grid);
    layout->addLayout(buttons);

    connect(m_close, &QPushButton::clicked, this, &QDialog::accept);
    connect(m_show, &QPushButton::clicked, this, &frmProperties::showInFileManager);
    fill(item);
}

QString frmProperties::filePath() const
{
    return m_fileName->text();
}

void frmProperties::fill(const MediaItem &item)
{
    const FileFacts facts = readFileFacts(item);
    m_fileName->setText(facts.path);
    m_title->setText(item.text(Field::Name));
    const auto texts = propertiesInfoTexts(item, facts);
    const QString track = chosenTrackDescription(item);
    m_titles.at(13)->setText(
        track.isEmpty() ? QString::fromLatin1(captions[13]) : QStringLiteral("Audio - ") + track);
    for (int i = 0; i < PropertiesLabelCount; ++i) {
        if (!isGroupHeading(i))
            showInfoText(m_infos.at(i), texts[size_t(i)]);
    }
}

void frmProperties::showInFileManager()
{
    const QString path = m_fileName->text();
    if (!path.isEmpty())
        revealInFileManager(this, path);
}

} // namespace sonivert

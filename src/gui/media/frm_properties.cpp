#include "gui/media/frm_properties.h"

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
    , title_(new QLabel(this))
    , fileName_(new QLineEdit(this))
    , close_(new QPushButton(QStringLiteral("Close"), this))
    , show_(new QPushButton(QStringLiteral("Show in Folder"), this))
{
    setObjectName(QStringLiteral("frmProperties"));
    setWindowTitle(QStringLiteral("Properties"));
    title_->setObjectName(QStringLiteral("lbl_Title"));
    QFont heading = title_->font();
    heading.setBold(true);
    heading.setPointSize(heading.pointSize() + 2);
    title_->setFont(heading);
    fileName_->setObjectName(QStringLiteral("Txt_FileName"));
    fileName_->setReadOnly(true);
    close_->setObjectName(QStringLiteral("Cmd_Properties_0"));
    show_->setObjectName(QStringLiteral("Cmd_Properties_1"));
    close_->setDefault(true);

    auto *grid = new QGridLayout;
    grid->setHorizontalSpacing(12);
    for (int i = 0; i < PropertiesLabelCount; ++i) {
        auto *caption = new QLabel(QString::fromLatin1(captions[i]), this);
        caption->setObjectName(QStringLiteral("lbl_Titles_%1").arg(i));
        auto *value = new QLabel(this);
        value->setObjectName(QStringLiteral("lbl_Infos_%1").arg(i));
        value->setTextFormat(Qt::PlainText);
        value->setTextInteractionFlags(Qt::TextSelectableByMouse);
        titles_.append(caption);
        infos_.append(value);
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
    buttons->addWidget(show_);
    buttons->addStretch();
    buttons->addWidget(close_);

    auto *layout = new QVBoxLayout(this);
    layout->addWidget(title_);
    layout->addWidget(fileName_);
    layout->addLayout(grid);
    layout->addLayout(buttons);

    connect(close_, &QPushButton::clicked, this, &QDialog::accept);
    connect(show_, &QPushButton::clicked, this, &frmProperties::showInFileManager);
    fill(item);
}

QString frmProperties::FilePath() const
{
    return fileName_->text();
}

void frmProperties::fill(const MediaItem &item)
{
    const FileFacts facts = ReadFileFacts(item);
    fileName_->setText(facts.path);
    title_->setText(item.Text(Field::Name));
    const auto texts = PropertiesInfoTexts(item, facts);
    for (int i = 0; i < PropertiesLabelCount; ++i) {
        if (!isGroupHeading(i))
            ShowInfoText(infos_.at(i), texts[size_t(i)]);
    }
}

void frmProperties::showInFileManager()
{
    const QString path = fileName_->text();
    if (!path.isEmpty())
        ShowInFileManager(this, path);
}

} // namespace sonivert

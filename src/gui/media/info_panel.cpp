#include "gui/media/info_panel.h"

#include "core/media/audio_tracks.h"
#include "core/media/file_list_model.h"
#include "gui/media/frm_properties.h"
#include "gui/media/info_labels.h"

#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>

namespace sonivert {

namespace {

const char *const InfoCaptions[] = {
    "Video Codec :",
    "Frame Size :",
    "Video Bitrate :",
    "Frame Rate :",
    "Audio Codec :",
    "Sample Rate :",
    "Audio Bitrate :",
    "Channels :",
    "Aspect Ratio :",
};

} // namespace

InfoPanel::InfoPanel(QWidget *parent)
    : QGroupBox(QStringLiteral("Properties"), parent)
{
    setObjectName(QStringLiteral("GroupBox_Properties"));
    auto *form = new QFormLayout(this);
    form->setLabelAlignment(Qt::AlignLeft);
    form->setHorizontalSpacing(8);
    for (int i = 0; i < int(m_values.size()); ++i) {
        QLabel *title = new QLabel(QString::fromLatin1(InfoCaptions[i]));
        title->setObjectName(QStringLiteral("lbl_InputFileTitle_%1").arg(i));
        QLabel *value = new QLabel;
        value->setObjectName(QStringLiteral("lbl_InputFileValue_%1").arg(i));
        value->setTextInteractionFlags(Qt::TextSelectableByMouse);
        value->setWordWrap(true);
        form->addRow(title, value);
        m_values[size_t(i)] = value;
    }
    m_more = new QPushButton(QStringLiteral("&More"));
    m_more->setObjectName(QStringLiteral("Cmd_MoreInfo"));
    auto *moreRow = new QHBoxLayout;
    moreRow->addStretch(1);
    moreRow->addWidget(m_more);
    form->addRow(moreRow);
    connect(m_more, &QPushButton::clicked, this, &InfoPanel::showProperties);
}

void InfoPanel::showRow(int row)
{
    if (!m_list || row < 0 || row >= m_list->count())
        return;
    m_currentRow = row;
    showInputFileInfo(QList<QLabel *>(m_values.begin(), m_values.end()), m_list->item(row));
    // The audio values describe the row's chosen track; which one it is, the codec's tip says.
    m_values[4]->setToolTip(chosenTrackDescription(m_list->item(row)));
}

void InfoPanel::clear()
{
    m_currentRow = -1;
    for (QLabel *label : m_values)
        label->clear();
}

void InfoPanel::showProperties()
{
    if (!m_list || m_currentRow < 0 || m_currentRow >= m_list->count())
        return;
    frmProperties dialog(m_list->item(m_currentRow), window());
    dialog.exec();
}

} // namespace sonivert

#include "gui/media/info_labels.h"

#include <QApplication>
#include <QLabel>

namespace sonivert {

void showInfoText(QLabel *label, const InfoText &text)
{
    if (!label)
        return;
    QPalette palette = label->palette();
    const QPalette::ColorRole source = text.available ? QPalette::ButtonText : QPalette::WindowText;
    const QPalette::ColorGroup group = text.available ? QPalette::Active : QPalette::Disabled;
    palette.setColor(QPalette::WindowText, QApplication::palette(label).color(group, source));
    label->setPalette(palette);
    label->setText(text.text);
    label->setProperty("available", text.available);
}

void showInputFileInfo(const QList<QLabel *> &labels, const MediaItem &item)
{
    const auto texts = inputFileInfoTexts(item);
    for (qsizetype i = 0; i < labels.size() && i < qsizetype(texts.size()); ++i)
        showInfoText(labels.at(i), texts[size_t(i)]);
}

} // namespace sonivert

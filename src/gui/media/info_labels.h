#pragma once

#include "core/media/info_text.h"

#include <QList>

class QLabel;

namespace sonivert {

// Shows a value label: greyed "Not Available", or the value in the button-text colour.
void showInfoText(QLabel *label, const InfoText &text);

// The information panel (lbl_InputFileValue 0 to 8) for one row.
void showInputFileInfo(const QList<QLabel *> &labels, const MediaItem &item);

} // namespace sonivert

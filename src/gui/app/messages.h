#pragma once

#include <QString>

class QWidget;

namespace sonivert {

// Message styles: a button set plus an icon, with the numbers every caller uses.
enum MessageStyle : int {
    MsgCritical = 16, // OK, critical icon
    MsgQuestion = 36, // Yes/No, question icon
    MsgWarning = 48, // OK, warning icon
    MsgWarningQuestion = 52, // Yes/No, warning icon
    MsgInformation = 64, // OK, information icon
    MsgPlain = 0, // OK, no icon
};

enum MessageResult : int {
    ResultOk = 1,
    ResultYes = 6,
    ResultNo = 7,
};

// The one modal message function. The first button is the default; Esc answers No (or OK). An
// empty title stays empty on screen too.
int ShowMessage(const QString &prompt, int style, const QString &title, QWidget *parent = nullptr);

} // namespace sonivert

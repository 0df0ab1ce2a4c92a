#pragma once

#include <QGroupBox>

class QCheckBox;
class QLineEdit;

namespace sonivert {

class RunOptions;

// The group "Other": Thread Mode, the thread count and whether one long file may take several
// threads (split into segments), shown from the run options and passed on
// as they are changed.
class ThreadOptionsBox : public QGroupBox
{
    Q_OBJECT
public:
    explicit ThreadOptionsBox(RunOptions &options, QWidget *parent = nullptr);

private:
    QCheckBox *m_mode = nullptr;
    QLineEdit *m_count = nullptr;
    QCheckBox *m_segments = nullptr;
};

} // namespace sonivert

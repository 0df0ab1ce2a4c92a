#include "gui/convert/thread_options_box.h"

#include "core/app/run_options.h"

#include <QCheckBox>
#include <QHBoxLayout>
#include <QIntValidator>
#include <QLabel>
#include <QLineEdit>
#include <QVBoxLayout>

namespace sonivert {

ThreadOptionsBox::ThreadOptionsBox(RunOptions &options, QWidget *parent)
    : QGroupBox(QStringLiteral("Other"), parent)
{
    setObjectName(QStringLiteral("GroupBox_Other"));
    m_mode = new QCheckBox(QStringLiteral("T&hread Mode"));
    m_mode->setObjectName(QStringLiteral("chkThreadMode"));
    m_mode->setChecked(options.threadMode());
    m_count = new QLineEdit(options.threadCountText());
    m_count->setObjectName(QStringLiteral("txtThreadCount"));
    m_count->setValidator(new QIntValidator(0, 64, m_count));
    m_count->setMaximumWidth(48);
    auto *label = new QLabel(QStringLiteral("Thread Co&unt"));
    label->setBuddy(m_count);
    label->setObjectName(QStringLiteral("lbl_ThreadCount"));

    m_segments = new QCheckBox(QStringLiteral("Split lon&g files"));
    m_segments->setObjectName(QStringLiteral("chkSegments"));
    m_segments->setToolTip(QStringLiteral(
        "When threads are free, encode one long file (MP3, AAC, FLAC, WAV, AIFF) in several "
        "parts at once and join them seamlessly"));
    m_segments->setChecked(options.segments());

    // The group is narrow beside the list: the thread settings share a line, the long-file
    // choice has its own so that no caption is cut.
    auto *column = new QVBoxLayout(this);
    auto *row = new QHBoxLayout;
    row->addWidget(m_mode);
    row->addStretch(1);
    row->addWidget(label);
    row->addWidget(m_count);
    column->addLayout(row);
    column->addWidget(m_segments);

    connect(m_mode, &QCheckBox::toggled, &options, &RunOptions::setThreadMode);
    connect(m_count, &QLineEdit::textChanged, &options, &RunOptions::setThreadCountText);
    connect(&options, &RunOptions::threadModeChanged, m_mode, &QCheckBox::setChecked);
    connect(m_segments, &QCheckBox::toggled, &options, &RunOptions::setSegments);
    connect(&options, &RunOptions::segmentsChanged, m_segments, &QCheckBox::setChecked);
    connect(&options, &RunOptions::threadCountTextChanged, m_count, [this](const QString &text) {
        if (m_count->text() != text)
            m_count->setText(text);
    });
}

} // namespace sonivert

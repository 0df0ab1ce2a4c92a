#include "gui/edit/frm_edit_video.h"

#include "core/app/app_flags.h"
#include "core/app/folders.h"
#include "core/convert/stream_copy.h"
#include "core/formats/output_settings.h"
#include "core/media/file_list_model.h"
#include "core/media/media_item.h"
#include "gui/app/messages.h"
#include "gui/edit/preview_player.h"
#include "gui/edit/preview_transport.h"
#include "gui/edit/trim_bar.h"

#include <QCloseEvent>
#include <QFileInfo>
#include <QLabel>
#include <QPushButton>
#include <QTimer>
#include <QWindow>

namespace sonivert {

namespace {

QPointer<FrmEditVideo> g_current;

void setTag(QObject *control, const QString &tag)
{
    control->setProperty("tag", tag);
}

int32_t signedField(const FileListModel &list, int row, int index)
{
    return list.getFieldText(row, index).trimmed().toInt();
}

} // namespace

FrmEditVideo::FrmEditVideo(FileListModel *list, int row, QWidget *mainWindow)
    : QDialog(nullptr)
    , m_list(list)
    , m_row(row)
    , m_mainWindow(mainWindow ? mainWindow->window() : nullptr)
    , m_player(new PreviewPlayer(this))
{
    setObjectName(QStringLiteral("frmEditVideo"));
    setAttribute(Qt::WA_DeleteOnClose);
    g_current = this;

    const QString name = m_list->getFieldText(m_row, Field::Name);
    m_filePath = (m_list->getFieldText(m_row, Field::FilePath) + name).trimmed();
    m_widgets = buildEditorWidgets(this, m_range);
    m_widgets.lblCopyNote->setVisible(
        appOutputSettings().choiceText(ChoiceListId::AudioCodec) == CopyAudioCodecLabel);
    // Nothing plays yet: what needs an open medium waits for the first start.
    setPlayerControlsEnabled(false);
    m_transport = new PreviewTransport(m_player,
        { this, m_widgets.picPreview, m_widgets.progressBarPlay, m_widgets.sliderPlay,
            m_widgets.cmdPlayer, m_widgets.sliderMPVolume, m_widgets.lblPlayTime,
            m_widgets.lblPlayTotal, m_widgets.timerPlaySelected },
        m_filePath, this);
    m_range.setBarMaximum(m_widgets.progressBarPlay->maximum());
    setWindowTitle(QStringLiteral("Trim - ") + name.trimmed());
    connectControls();
    onRangeChanged();
}

FrmEditVideo::~FrmEditVideo()
{
    finishClose();
}

FrmEditVideo *FrmEditVideo::current()
{
    return g_current.data();
}

TimeHalves FrmEditVideo::MediaDuration() const
{
    return m_transport->MediaDuration();
}

TimeHalves FrmEditVideo::PlayPosition() const
{
    return m_transport->PlayPosition();
}

TimeHalves FrmEditVideo::LastSeekTime() const
{
    return m_transport->LastSeekTime();
}

int FrmEditVideo::ResumeAfterSeek() const
{
    return m_transport->ResumeAfterSeek();
}

void FrmEditVideo::EditWindow_StopPlayer()
{
    m_transport->pressStop();
}

void FrmEditVideo::SeekToPixel(int x)
{
    m_transport->SeekToPixel(x);
}

void FrmEditVideo::connectControls()
{
    connect(m_widgets.cmdTrim[0], &QPushButton::clicked, this, [this] { pressSetPoint(0); });
    connect(m_widgets.cmdTrim[1], &QPushButton::clicked, this, [this] { pressSetPoint(1); });
    connect(m_widgets.cmdTrim[2], &QPushButton::clicked, this, &FrmEditVideo::pressPlaySelection);
    connect(m_widgets.cmdTrim[3], &QPushButton::clicked, this, [this] { pressNudge(3); });
    connect(m_widgets.cmdTrim[4], &QPushButton::clicked, this, [this] { pressNudge(4); });
    connect(m_widgets.cmdReset, &QPushButton::clicked, this, &FrmEditVideo::pressReset);
    connect(m_widgets.cmdPanels[0], &QPushButton::clicked, this, [this] {
        SaveTrim();
        m_closing = true;
        close();
    });
    connect(m_widgets.cmdPanels[1], &QPushButton::clicked, this, &QWidget::close);
    for (int i = 0; i < 2; ++i) {
        TrimHandle *handle = m_widgets.trimPointImage[size_t(i)];
        connect(handle, &TrimHandle::pressed, this, [this, i] { onHandlePressed(i); });
        connect(handle, &TrimHandle::dragged, this, [this, i](int x) { onHandleDragged(i, x); });
        connect(handle, &TrimHandle::released, this, &FrmEditVideo::onHandleReleased);
    }
    connect(m_transport, &PreviewTransport::controlsEnabled, this,
        &FrmEditVideo::setPlayerControlsEnabled);

    connect(&m_range, &TrimRange::changed, this, &FrmEditVideo::onRangeChanged);
    connect(&m_range, &TrimRange::seekRequested, this, &FrmEditVideo::SeekToPixel);

    connect(m_widgets.timerWaitToPlay, &QTimer::timeout, this, &FrmEditVideo::onWaitToPlay);
    connect(m_widgets.timerPlaySelected, &QTimer::timeout, this, &FrmEditVideo::onPlaySelectedTick);
}

void FrmEditVideo::showEvent(QShowEvent *event)
{
    QDialog::showEvent(event);
    QTimer::singleShot(0, this, &FrmEditVideo::activateEditor);
}

bool FrmEditVideo::event(QEvent *event)
{
    if (event->type() == QEvent::WindowActivate)
        QTimer::singleShot(0, this, &FrmEditVideo::activateEditor);
    return QDialog::event(event);
}

// Runs once; a duration that rounds to 0 seconds leaves it for the next activation.
void FrmEditVideo::activateEditor()
{
    if (m_range.activated() || m_closed || !m_list)
        return;
    m_widgets.lblSelectedTime->setText(QStringLiteral("00:00:00"));
    m_transport->prepare({ signedField(*m_list, m_row, Field::FileDurationLow),
        signedField(*m_list, m_row, Field::FileDurationHigh) });
    if (!m_range.activateFromRow(*m_list, m_row))
        return;
    m_widgets.timerWaitToPlay->start();
}

void FrmEditVideo::onWaitToPlay()
{
    if (m_list) {
        m_player->setAspectRatio(
            m_list->getFieldText(m_row, Field::VideoSampleAspectRatio).trimmed().toFloat());
    }
    pressPlaySelection();
    m_widgets.timerWaitToPlay->stop();
    m_widgets.picPreview->setEnabled(true);
    setEnabled(true);
    m_range.setTrimDirty(false);
}

void FrmEditVideo::setPlayerControlsEnabled(bool enabled)
{
    m_widgets.progressBarPlay->setEnabled(enabled);
    m_widgets.cmdPlayer[1]->setEnabled(enabled);
    for (TrimHandle *handle : m_widgets.trimPointImage)
        handle->setEnabled(enabled);
    for (int i : { 0, 1, 3, 4 })
        m_widgets.cmdTrim[size_t(i)]->setEnabled(enabled);
}

void FrmEditVideo::onRangeChanged()
{
    m_widgets.lblStartTime->setText(m_range.startText());
    m_widgets.lblEndTime->setText(m_range.endText());
    m_widgets.lblSelectedTime->setText(m_range.selectedCaption());
    setTag(m_widgets.lblSelectedTime, m_range.selectedTag());
    m_widgets.lblPlayTime->setText(m_range.selectedCaption());

    const int start = m_range.startPixel();
    const int end = m_range.endPixel();
    const int barLeft = m_widgets.progressBarPlay->x();
    m_widgets.trimPointImage[0]->move(
        barLeft + start - TrimHandle::Width, m_widgets.trimPointImage[0]->y());
    m_widgets.trimPointImage[1]->move(barLeft + end, m_widgets.trimPointImage[1]->y());
    m_widgets.trimPointImage[0]->setTag(QString::number(start));
    m_widgets.trimPointImage[1]->setTag(QString::number(end));
    m_widgets.trimRange->setGeometry(barLeft + start, m_widgets.trimRange->y(),
        qMax(0, end - start), m_widgets.trimRange->height());
    m_widgets.trimRange->raise();
    m_widgets.trimPointImage[0]->raise();
    m_widgets.trimPointImage[1]->raise();
}

void FrmEditVideo::pressSetPoint(int index)
{
    const int state = m_player->PlayState();
    if (state == PreviewPlayer::Closed || state == PreviewPlayer::Playing) {
        m_transport->pressPlayPause();
        // Where the player stopped, rather than its last report a moment before.
        if (m_player->PlayState() == PreviewPlayer::Paused)
            m_transport->showPosition(m_player->position());
    }
    const int p = m_transport->playPixel();
    if (index == 0)
        m_range.SetTrimPoints(p, TrimRange::Unchanged, false, true, false);
    else
        m_range.SetTrimPoints(TrimRange::Unchanged, p, false, true, false);
    m_range.setTrimDirty(true);
}

// One pixel of the bar is the finest step a trim point can take, so the nudges move by one.
// They step from where the picture stands; while it plays (or nothing is open) they step from
// the trim start.
void FrmEditVideo::pressNudge(int index)
{
    const int state = m_player->PlayState();
    if (state <= PreviewPlayer::Closed || state == PreviewPlayer::Playing) {
        m_transport->SeekTo(m_range.start());
        if (m_player->PlayState() == PreviewPlayer::Paused)
            m_transport->pressPlayPause();
    }
    const int v = m_transport->playPixel();
    if (index == 3) {
        SeekToPixel(qMin(v + 1, m_widgets.progressBarPlay->maximum()));
        pressSetPoint(1);
    } else {
        SeekToPixel(qMax(v - 1, 0));
        pressSetPoint(0);
    }
}

void FrmEditVideo::pressPlaySelection()
{
    m_widgets.timerPlaySelected->stop();
    if (!QFileInfo::exists(m_filePath)) {
        m_transport->pressPlayPause(); // tells the person, once
        return;
    }
    if (timeToSeconds(m_range.end()) <= timeToSeconds(m_transport->PlayPosition())) {
        m_transport->pressStop();
        m_transport->pressPlayPause();
    }
    const int startPixel = m_range.startPixel();
    const int state = m_player->PlayState();
    if (state == PreviewPlayer::Paused || state == PreviewPlayer::Playing) {
        m_range.SetTrimPoints(startPixel, TrimRange::Unchanged, true, false, true);
        if (m_player->PlayState() == PreviewPlayer::Paused)
            m_transport->pressPlayPause();
    } else {
        // Nothing open: open it, hold it, move to the start and play from there.
        m_transport->pressStop();
        m_transport->pressPlayPause();
        m_transport->pressPlayPause();
        m_range.SetTrimPoints(startPixel, TrimRange::Unchanged, true, false, true);
        m_transport->pressPlayPause();
    }
    m_widgets.timerPlaySelected->start();
}

void FrmEditVideo::onPlaySelectedTick()
{
    if (timeToSeconds(m_range.end()) > timeToSeconds(m_transport->PlayPosition()))
        return;
    m_widgets.timerPlaySelected->stop();
    m_transport->pressPlayPause();
    m_transport->SeekTo(m_range.start());
}

void FrmEditVideo::pressReset()
{
    m_range.reset();
}

void FrmEditVideo::onHandlePressed(int index)
{
    const int state = m_player->PlayState();
    if (state == PreviewPlayer::Playing || state == PreviewPlayer::Closed)
        m_transport->pressPlayPause();
    SeekToPixel(index == 0 ? m_range.startPixel() : m_range.endPixel());
}

void FrmEditVideo::onHandleDragged(int index, int barX)
{
    const int state = m_player->PlayState();
    if (state == PreviewPlayer::Closed || state == PreviewPlayer::Playing)
        m_transport->pressPlayPause();
    if (index == 0)
        m_range.SetTrimPoints(barX, TrimRange::Unchanged, false, true, true);
    else
        m_range.SetTrimPoints(TrimRange::Unchanged, barX, false, true, true);
    m_range.setTrimDirty(true);
}

void FrmEditVideo::onHandleReleased()
{
    const int resume = m_transport->ResumeAfterSeek();
    if (resume != 1 && resume != -1)
        m_transport->pressPlayPause();
}

void FrmEditVideo::SaveTrim()
{
    if (m_list)
        m_range.SaveTrim(*m_list, m_row);
}

void FrmEditVideo::stopTimers()
{
    m_widgets.timerWaitToPlay->stop();
    m_widgets.timerPlaySelected->stop();
}

void FrmEditVideo::reject()
{
    close();
}

void FrmEditVideo::closeEvent(QCloseEvent *event)
{
    if (!m_closing) {
        m_closing = true;
        if (m_range.TrimDirty()
            && ShowMessage(
                   QStringLiteral("Do you want to save changes?"), MsgQuestion, QString(), this)
                == ResultYes)
            SaveTrim();
        m_range.setTrimDirty(false);
    }
    finishClose();
    event->accept();
}

void FrmEditVideo::finishClose()
{
    if (m_closed)
        return;
    m_closed = true;
    m_transport->close();
    stopTimers();
    m_player->CloseMedia(false);
    flags().EditWindowOpen = false;
    if (m_mainWindow)
        m_mainWindow->setEnabled(true);
    m_transport->restoreSound();
    if (g_current == this)
        g_current = nullptr;
}

FrmEditVideo *openTrimEditor(QWidget *mainWindow, FileListModel *list, int row)
{
    if (!list || row < 0 || row >= list->count())
        return nullptr;
    if (FrmEditVideo *open = FrmEditVideo::current()) {
        open->raise();
        open->activateWindow();
        return open;
    }
    auto *editor = new FrmEditVideo(list, row, mainWindow);
    editor->setWindowModality(Qt::ApplicationModal);
    flags().EditWindowOpen = true;
    if (mainWindow) {
        QWidget *top = mainWindow->window();
        // The editor is a window of its own (a child would be disabled with its parent), so it
        // goes when the main window goes.
        QObject::connect(top, &QObject::destroyed, editor, [editor] { delete editor; });
        top->setEnabled(false);
        editor->move(top->frameGeometry().center() - editor->rect().center());
        editor->winId();
        if (top->windowHandle() && editor->windowHandle())
            editor->windowHandle()->setTransientParent(top->windowHandle());
    }
    editor->show();
    editor->raise();
    editor->activateWindow();
    return editor;
}

} // namespace sonivert

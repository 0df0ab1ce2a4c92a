#include "gui/edit/frm_edit_video.h"

#include "core/app/app_flags.h"
#include "core/app/folders.h"
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
    return list.GetFieldText(row, index).trimmed().toInt();
}

} // namespace

FrmEditVideo::FrmEditVideo(FileListModel *list, int row, QWidget *mainWindow)
    : QDialog(nullptr)
    , list_(list)
    , row_(row)
    , mainWindow_(mainWindow ? mainWindow->window() : nullptr)
    , player_(new PreviewPlayer(this))
{
    setObjectName(QStringLiteral("frmEditVideo"));
    setAttribute(Qt::WA_DeleteOnClose);
    g_current = this;

    const QString name = list_->GetFieldText(row_, Field::Name);
    filePath_ = (list_->GetFieldText(row_, Field::FilePath) + name).trimmed();
    w_ = BuildEditorWidgets(this, range_);
    // Nothing plays yet: what needs an open medium waits for the first start.
    setPlayerControlsEnabled(false);
    transport_ = new PreviewTransport(player_,
        { this, w_.picPreview, w_.progressBarPlay, w_.sliderPlay, w_.cmdPlayer, w_.sliderMPVolume,
            w_.lblPlayTime, w_.lblPlayTotal, w_.timerPlaySelected },
        filePath_, this);
    range_.SetBarMaximum(w_.progressBarPlay->maximum());
    setWindowTitle(QStringLiteral("Trim - ") + name.trimmed());
    connectControls();
    onRangeChanged();
}

FrmEditVideo::~FrmEditVideo()
{
    finishClose();
}

FrmEditVideo *FrmEditVideo::Current()
{
    return g_current.data();
}

TimeHalves FrmEditVideo::MediaDuration() const
{
    return transport_->MediaDuration();
}

TimeHalves FrmEditVideo::PlayPosition() const
{
    return transport_->PlayPosition();
}

TimeHalves FrmEditVideo::LastSeekTime() const
{
    return transport_->LastSeekTime();
}

int FrmEditVideo::ResumeAfterSeek() const
{
    return transport_->ResumeAfterSeek();
}

void FrmEditVideo::EditWindow_StopPlayer()
{
    transport_->PressStop();
}

void FrmEditVideo::SeekToPixel(int x)
{
    transport_->SeekToPixel(x);
}

void FrmEditVideo::connectControls()
{
    connect(w_.cmdTrim[0], &QPushButton::clicked, this, [this] { pressSetPoint(0); });
    connect(w_.cmdTrim[1], &QPushButton::clicked, this, [this] { pressSetPoint(1); });
    connect(w_.cmdTrim[2], &QPushButton::clicked, this, &FrmEditVideo::pressPlaySelection);
    connect(w_.cmdTrim[3], &QPushButton::clicked, this, [this] { pressNudge(3); });
    connect(w_.cmdTrim[4], &QPushButton::clicked, this, [this] { pressNudge(4); });
    connect(w_.cmdReset, &QPushButton::clicked, this, &FrmEditVideo::pressReset);
    connect(w_.cmdPanels[0], &QPushButton::clicked, this, [this] {
        SaveTrim();
        closing_ = true;
        close();
    });
    connect(w_.cmdPanels[1], &QPushButton::clicked, this, &QWidget::close);
    for (int i = 0; i < 2; ++i) {
        TrimHandle *handle = w_.trimPointImage[size_t(i)];
        connect(handle, &TrimHandle::pressed, this, [this, i] { onHandlePressed(i); });
        connect(handle, &TrimHandle::dragged, this, [this, i](int x) { onHandleDragged(i, x); });
        connect(handle, &TrimHandle::released, this, &FrmEditVideo::onHandleReleased);
    }
    connect(transport_, &PreviewTransport::controlsEnabled, this,
        &FrmEditVideo::setPlayerControlsEnabled);

    connect(&range_, &TrimRange::changed, this, &FrmEditVideo::onRangeChanged);
    connect(&range_, &TrimRange::seekRequested, this, &FrmEditVideo::SeekToPixel);

    connect(w_.timerWaitToPlay, &QTimer::timeout, this, &FrmEditVideo::onWaitToPlay);
    connect(w_.timerPlaySelected, &QTimer::timeout, this, &FrmEditVideo::onPlaySelectedTick);
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
    if (range_.Activated() || closed_ || !list_)
        return;
    w_.lblSelectedTime->setText(QStringLiteral("00:00:00"));
    transport_->Prepare({ signedField(*list_, row_, Field::FileDurationLow),
        signedField(*list_, row_, Field::FileDurationHigh) });
    if (!range_.ActivateFromRow(*list_, row_))
        return;
    w_.timerWaitToPlay->start();
}

void FrmEditVideo::onWaitToPlay()
{
    if (list_) {
        player_->SetAspectRatio(
            list_->GetFieldText(row_, Field::VideoSampleAspectRatio).trimmed().toFloat());
    }
    pressPlaySelection();
    w_.timerWaitToPlay->stop();
    w_.picPreview->setEnabled(true);
    setEnabled(true);
    range_.SetTrimDirty(false);
}

void FrmEditVideo::setPlayerControlsEnabled(bool enabled)
{
    w_.progressBarPlay->setEnabled(enabled);
    w_.cmdPlayer[1]->setEnabled(enabled);
    for (TrimHandle *handle : w_.trimPointImage)
        handle->setEnabled(enabled);
    for (int i : { 0, 1, 3, 4 })
        w_.cmdTrim[size_t(i)]->setEnabled(enabled);
}

void FrmEditVideo::onRangeChanged()
{
    w_.lblStartTime->setText(range_.StartText());
    w_.lblEndTime->setText(range_.EndText());
    w_.lblSelectedTime->setText(range_.SelectedCaption());
    setTag(w_.lblSelectedTime, range_.SelectedTag());
    w_.lblPlayTime->setText(range_.SelectedCaption());

    const int start = range_.StartPixel();
    const int end = range_.EndPixel();
    const int barLeft = w_.progressBarPlay->x();
    w_.trimPointImage[0]->move(barLeft + start - TrimHandle::Width, w_.trimPointImage[0]->y());
    w_.trimPointImage[1]->move(barLeft + end, w_.trimPointImage[1]->y());
    w_.trimPointImage[0]->SetTag(QString::number(start));
    w_.trimPointImage[1]->SetTag(QString::number(end));
    w_.trimRange->setGeometry(
        barLeft + start, w_.trimRange->y(), qMax(0, end - start), w_.trimRange->height());
    w_.trimRange->raise();
    w_.trimPointImage[0]->raise();
    w_.trimPointImage[1]->raise();
}

void FrmEditVideo::pressSetPoint(int index)
{
    const int state = player_->PlayState();
    if (state == PreviewPlayer::Closed || state == PreviewPlayer::Playing) {
        transport_->PressPlayPause();
        // Where the player stopped, rather than its last report a moment before.
        if (player_->PlayState() == PreviewPlayer::Paused)
            transport_->ShowPosition(player_->Position());
    }
    const int p = w_.progressBarPlay->value();
    if (index == 0)
        range_.SetTrimPoints(p, TrimRange::Unchanged, false, true, false);
    else
        range_.SetTrimPoints(TrimRange::Unchanged, p, false, true, false);
    range_.SetTrimDirty(true);
}

// One pixel of the bar is the finest step a trim point can take, so the nudges move by one.
// They step from where the picture stands; while it plays (or nothing is open) they step from
// the trim start.
void FrmEditVideo::pressNudge(int index)
{
    const int state = player_->PlayState();
    if (state <= PreviewPlayer::Closed || state == PreviewPlayer::Playing) {
        transport_->SeekTo(range_.Start());
        if (player_->PlayState() == PreviewPlayer::Paused)
            transport_->PressPlayPause();
    }
    const int v = w_.progressBarPlay->value();
    if (index == 3) {
        SeekToPixel(qMin(v + 1, w_.progressBarPlay->maximum()));
        pressSetPoint(1);
    } else {
        SeekToPixel(qMax(v - 1, 0));
        pressSetPoint(0);
    }
}

void FrmEditVideo::pressPlaySelection()
{
    w_.timerPlaySelected->stop();
    if (!QFileInfo::exists(filePath_)) {
        transport_->PressPlayPause(); // tells the person, once
        return;
    }
    if (TimeToSeconds(range_.End()) <= TimeToSeconds(transport_->PlayPosition())) {
        transport_->PressStop();
        transport_->PressPlayPause();
    }
    const int startPixel = range_.StartPixel();
    const int state = player_->PlayState();
    if (state == PreviewPlayer::Paused || state == PreviewPlayer::Playing) {
        range_.SetTrimPoints(startPixel, TrimRange::Unchanged, true, false, true);
        if (player_->PlayState() == PreviewPlayer::Paused)
            transport_->PressPlayPause();
    } else {
        // Nothing open: open it, hold it, move to the start and play from there.
        transport_->PressStop();
        transport_->PressPlayPause();
        transport_->PressPlayPause();
        range_.SetTrimPoints(startPixel, TrimRange::Unchanged, true, false, true);
        transport_->PressPlayPause();
    }
    w_.timerPlaySelected->start();
}

void FrmEditVideo::onPlaySelectedTick()
{
    if (TimeToSeconds(range_.End()) > TimeToSeconds(transport_->PlayPosition()))
        return;
    w_.timerPlaySelected->stop();
    transport_->PressPlayPause();
    transport_->SeekTo(range_.Start());
}

void FrmEditVideo::pressReset()
{
    range_.Reset();
}

void FrmEditVideo::onHandlePressed(int index)
{
    const int state = player_->PlayState();
    if (state == PreviewPlayer::Playing || state == PreviewPlayer::Closed)
        transport_->PressPlayPause();
    SeekToPixel(index == 0 ? range_.StartPixel() : range_.EndPixel());
}

void FrmEditVideo::onHandleDragged(int index, int barX)
{
    const int state = player_->PlayState();
    if (state == PreviewPlayer::Closed || state == PreviewPlayer::Playing)
        transport_->PressPlayPause();
    if (index == 0)
        range_.SetTrimPoints(barX, TrimRange::Unchanged, false, true, true);
    else
        range_.SetTrimPoints(TrimRange::Unchanged, barX, false, true, true);
    range_.SetTrimDirty(true);
}

void FrmEditVideo::onHandleReleased()
{
    const int resume = transport_->ResumeAfterSeek();
    if (resume != 1 && resume != -1)
        transport_->PressPlayPause();
}

void FrmEditVideo::SaveTrim()
{
    if (list_)
        range_.SaveTrim(*list_, row_);
}

void FrmEditVideo::StopTimers()
{
    w_.timerWaitToPlay->stop();
    w_.timerPlaySelected->stop();
}

void FrmEditVideo::reject()
{
    close();
}

void FrmEditVideo::closeEvent(QCloseEvent *event)
{
    if (!closing_) {
        closing_ = true;
        if (range_.TrimDirty()
            && ShowMessage(
                   QStringLiteral("Do you want to save changes?"), MsgQuestion, QString(), this)
                == ResultYes)
            SaveTrim();
        range_.SetTrimDirty(false);
    }
    finishClose();
    event->accept();
}

void FrmEditVideo::finishClose()
{
    if (closed_)
        return;
    closed_ = true;
    transport_->Close();
    StopTimers();
    player_->CloseMedia(false);
    Flags().EditWindowOpen = false;
    if (mainWindow_)
        mainWindow_->setEnabled(true);
    transport_->RestoreSound();
    if (g_current == this)
        g_current = nullptr;
}

FrmEditVideo *OpenTrimEditor(QWidget *mainWindow, FileListModel *list, int row)
{
    if (!list || row < 0 || row >= list->Count())
        return nullptr;
    if (FrmEditVideo *open = FrmEditVideo::Current()) {
        open->raise();
        open->activateWindow();
        return open;
    }
    auto *editor = new FrmEditVideo(list, row, mainWindow);
    editor->setWindowModality(Qt::ApplicationModal);
    Flags().EditWindowOpen = true;
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

#include "gui/edit/frm_edit_video.h"

#include "core/app/app_flags.h"
#include "core/app/folders.h"
#include "core/media/file_list_model.h"
#include "core/media/media_item.h"
#include "gui/app/messages.h"
#include "gui/edit/preview_player.h"
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

QString tagOf(const QObject *control)
{
    return control->property("tag").toString();
}

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
    buildLayout();
    range_.SetBarMaximum(progressBarPlay_->maximum());
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

void FrmEditVideo::connectControls()
{
    connect(cmdPlayer_[0], &QPushButton::clicked, this, &FrmEditVideo::pressPlayPause);
    connect(cmdPlayer_[1], &QPushButton::clicked, this, &FrmEditVideo::pressStop);
    connect(cmdPlayer_[2], &QPushButton::clicked, this, &FrmEditVideo::pressMute);
    connect(cmdTrim_[0], &QPushButton::clicked, this, [this] { pressSetPoint(0); });
    connect(cmdTrim_[1], &QPushButton::clicked, this, [this] { pressSetPoint(1); });
    connect(cmdTrim_[2], &QPushButton::clicked, this, &FrmEditVideo::pressPlaySelection);
    connect(cmdTrim_[3], &QPushButton::clicked, this, [this] { pressNudge(3); });
    connect(cmdTrim_[4], &QPushButton::clicked, this, [this] { pressNudge(4); });
    connect(cmdReset_, &QPushButton::clicked, this, &FrmEditVideo::pressReset);
    connect(cmdPanels_[0], &QPushButton::clicked, this, [this] {
        SaveTrim();
        closing_ = true;
        close();
    });
    connect(cmdPanels_[1], &QPushButton::clicked, this, &QWidget::close);

    connect(sliderMPVolume_, &QSlider::valueChanged, this, &FrmEditVideo::onVolumeChanged);
    connect(sliderPlay_, &SeekSlider::pressedAt, this, &FrmEditVideo::onSeekSliderPressed);
    connect(sliderPlay_, &QSlider::valueChanged, this, &FrmEditVideo::onSeekSliderMoved);
    connect(sliderPlay_, &SeekSlider::releasedAt, this, &FrmEditVideo::onSeekSliderReleased);
    connect(progressBarPlay_, &PositionBar::pressedAt, this, &FrmEditVideo::SeekToPixel);
    for (int i = 0; i < 2; ++i) {
        TrimHandle *handle = trimPointImage_[size_t(i)];
        connect(handle, &TrimHandle::pressed, this, [this, i] { onHandlePressed(i); });
        connect(handle, &TrimHandle::dragged, this, [this, i](int x) { onHandleDragged(i, x); });
        connect(handle, &TrimHandle::released, this, &FrmEditVideo::onHandleReleased);
    }

    connect(&range_, &TrimRange::changed, this, &FrmEditVideo::onRangeChanged);
    connect(&range_, &TrimRange::seekRequested, this, &FrmEditVideo::SeekToPixel);

    connect(player_, &PreviewPlayer::MediaOpened, this, &FrmEditVideo::onMediaOpened);
    connect(player_, &PreviewPlayer::PositionChanged, this, &FrmEditVideo::onPositionChanged);
    connect(player_, &PreviewPlayer::StateChanged, this, &FrmEditVideo::onStateChanged);
    connect(player_, &PreviewPlayer::ErrorOccurred, this, &FrmEditVideo::onPlayerError);

    connect(timerWaitToPlay_, &QTimer::timeout, this, &FrmEditVideo::onWaitToPlay);
    connect(timerPlaySelected_, &QTimer::timeout, this, &FrmEditVideo::onPlaySelectedTick);
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
    lblSelectedTime_->setText(QStringLiteral("00:00:00"));
    setTag(cmdPlayer_[0], QStringLiteral("Play"));
    setTag(cmdPlayer_[2], QStringLiteral("On"));
    ClearTime(playPosition_);
    ClearTime(lastSeekTime_);
    mediaDuration_ = { signedField(*list_, row_, Field::FileDurationLow),
        signedField(*list_, row_, Field::FileDurationHigh) };
    if (!range_.ActivateFromRow(*list_, row_))
        return;
    timerWaitToPlay_->start();
}

void FrmEditVideo::onWaitToPlay()
{
    if (list_) {
        player_->SetAspectRatio(
            list_->GetFieldText(row_, Field::VideoSampleAspectRatio).trimmed().toFloat());
    }
    pressPlaySelection();
    timerWaitToPlay_->stop();
    picPreview_->setEnabled(true);
    setEnabled(true);
    range_.SetTrimDirty(false);
}

PlayerLaunchSettings FrmEditVideo::launchSettings() const
{
    PlayerLaunchSettings settings;
    settings.librariesFolder = Folders().librariesFolder;
    settings.fileName = filePath_;
    settings.videoWindow = picPreview_;
    return settings;
}

void FrmEditVideo::setPlayerControlsEnabled(bool enabled)
{
    progressBarPlay_->setEnabled(enabled);
    cmdPlayer_[1]->setEnabled(enabled);
    for (TrimHandle *handle : trimPointImage_)
        handle->setEnabled(enabled);
    for (int i : { 0, 1, 3, 4 })
        cmdTrim_[size_t(i)]->setEnabled(enabled);
}

void FrmEditVideo::onRangeChanged()
{
    lblStartTime_->setText(range_.StartText());
    lblEndTime_->setText(range_.EndText());
    lblSelectedTime_->setText(range_.SelectedCaption());
    setTag(lblSelectedTime_, range_.SelectedTag());
    lblPlayTime_->setText(range_.SelectedCaption());

    const int start = range_.StartPixel();
    const int end = range_.EndPixel();
    const int barLeft = progressBarPlay_->x();
    trimPointImage_[0]->move(barLeft + start - TrimHandle::Width, trimPointImage_[0]->y());
    trimPointImage_[1]->move(barLeft + end, trimPointImage_[1]->y());
    trimPointImage_[0]->SetTag(QString::number(start));
    trimPointImage_[1]->SetTag(QString::number(end));
    trimRange_->setGeometry(
        barLeft + start, trimRange_->y(), qMax(0, end - start), trimRange_->height());
    trimRange_->raise();
    trimPointImage_[0]->raise();
    trimPointImage_[1]->raise();
}

void FrmEditVideo::pressSetPoint(int index)
{
    const int state = player_->PlayState();
    if (state == PreviewPlayer::Closed || state == PreviewPlayer::Playing) {
        pressPlayPause();
        // Where the player stopped, rather than its last report a moment before.
        if (player_->PlayState() == PreviewPlayer::Paused)
            showPosition(player_->Position());
    }
    const int p = progressBarPlay_->value();
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
        seekPlayerTo(range_.Start());
        if (player_->PlayState() == PreviewPlayer::Paused)
            pressPlayPause();
    }
    const int v = progressBarPlay_->value();
    if (index == 3) {
        SeekToPixel(qMin(v + 1, progressBarPlay_->maximum()));
        pressSetPoint(1);
    } else {
        SeekToPixel(qMax(v - 1, 0));
        pressSetPoint(0);
    }
}

void FrmEditVideo::pressPlaySelection()
{
    timerPlaySelected_->stop();
    if (!QFileInfo::exists(filePath_)) {
        pressPlayPause(); // tells the person, once
        return;
    }
    if (TimeToSeconds(range_.End()) <= TimeToSeconds(playPosition_)) {
        pressStop();
        pressPlayPause();
    }
    const int startPixel = trimPointImage_[0]->Tag().toInt();
    const int state = player_->PlayState();
    if (state == PreviewPlayer::Paused || state == PreviewPlayer::Playing) {
        range_.SetTrimPoints(startPixel, TrimRange::Unchanged, true, false, true);
        if (player_->PlayState() == PreviewPlayer::Paused)
            pressPlayPause();
    } else {
        // Nothing open: open it, hold it, move to the start and play from there.
        pressStop();
        pressPlayPause();
        pressPlayPause();
        range_.SetTrimPoints(startPixel, TrimRange::Unchanged, true, false, true);
        pressPlayPause();
    }
    timerPlaySelected_->start();
}

void FrmEditVideo::onPlaySelectedTick()
{
    if (TimeToSeconds(range_.End()) > TimeToSeconds(playPosition_))
        return;
    timerPlaySelected_->stop();
    pressPlayPause();
    seekPlayerTo(range_.Start());
}

void FrmEditVideo::pressReset()
{
    range_.Reset();
}

void FrmEditVideo::onHandlePressed(int index)
{
    const int state = player_->PlayState();
    if (state == PreviewPlayer::Playing || state == PreviewPlayer::Closed)
        pressPlayPause();
    SeekToPixel(trimPointImage_[size_t(index)]->Tag().toInt());
}

void FrmEditVideo::onHandleDragged(int index, int barX)
{
    const int state = player_->PlayState();
    if (state == PreviewPlayer::Closed || state == PreviewPlayer::Playing)
        pressPlayPause();
    if (index == 0)
        range_.SetTrimPoints(barX, TrimRange::Unchanged, false, true, true);
    else
        range_.SetTrimPoints(TrimRange::Unchanged, barX, false, true, true);
    range_.SetTrimDirty(true);
}

void FrmEditVideo::onHandleReleased()
{
    if (resumeAfterSeek_ != 1 && resumeAfterSeek_ != -1)
        pressPlayPause();
}

void FrmEditVideo::SaveTrim()
{
    if (list_)
        range_.SaveTrim(*list_, row_);
}

void FrmEditVideo::StopTimers()
{
    timerWaitToPlay_->stop();
    timerPlaySelected_->stop();
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
    StopTimers();
    player_->CloseMedia(false);
    Flags().EditWindowOpen = false;
    if (mainWindow_)
        mainWindow_->setEnabled(true);
    // The person may have muted the preview; the player is left with sound.
    if (tagOf(cmdPlayer_[2]) == QLatin1String("Off")) {
        player_->SetMute(false);
        player_->SetAudioVolume(int16_t(sliderMPVolume_->value()));
    }
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

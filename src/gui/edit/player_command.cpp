#include "gui/edit/player_command.h"

#include "gui/app/messages.h"
#include "gui/edit/preview_player.h"

namespace sonivert {

bool PlayerCommand(PreviewPlayer &player, int command, const PlayerLaunchSettings &settings,
    QWidget *messageParent)
{
    switch (command) {
    case PlayerInit:
        if (!player.IsEngineLoaded() && !player.LoadEngine(true, settings.librariesFolder)) {
            ShowMessage(
                player.LastErrorText(), MsgCritical, QStringLiteral("Player"), messageParent);
            return false;
        }
        player.OpenMedia(settings.fileName, settings.videoWindow, true);
        return true;
    case PlayerPlay:
        if (player.HasOpenMedia() != 0)
            player.TogglePause();
        else
            player.OpenMedia(settings.fileName, settings.videoWindow, false);
        return true;
    case PlayerPause:
        player.TogglePause();
        return true;
    case PlayerStop:
        player.CloseMedia(false);
        return true;
    default:
        return true;
    }
}

} // namespace sonivert

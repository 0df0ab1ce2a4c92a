#pragma once

#include <QString>

class QWidget;

namespace sonivert {

class PreviewPlayer;

// What the editor hands to PlayerCommand. The display and output options are accepted for the
// record; the Qt player needs none of them.
struct PlayerLaunchSettings
{
    QString librariesFolder;
    QString fileName;
    QWidget *videoWindow = nullptr;
    bool optionA = false;
    bool optionB = false;
    bool optionC = false;
    int videoOutputMode = 2;
    int audioOutputMode = 0;
    bool optionD = false;
    bool optionE = false;
};

enum PlayerCommandCode : int {
    PlayerInit = -1, // load the engine if needed and open the file paused
    PlayerPlay = 0, // start the open medium, or open the file playing
    PlayerPause = 1, // toggle pause
    PlayerStop = 2, // close the medium
};

// Runs one command on the player. False only when the engine could not be loaded; that is shown
// to the person (critical, title "Player") over messageParent.
bool PlayerCommand(PreviewPlayer &player, int command, const PlayerLaunchSettings &settings,
    QWidget *messageParent = nullptr);

} // namespace sonivert

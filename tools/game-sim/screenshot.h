#pragma once
// The game's screenshot: a picture into the game folder, named and numbered
// from Morrowind.ini, read afresh for every shot.
#include <string>

#include "imaging/picture.h"

namespace gamesim {

// A picture that tells shots apart at a glance: a colour gradient shifted by
// the shot's number, with the number drawn large in the middle.
glintbook::Picture DrawShot(int width, int height, long long number);

// Takes one shot of the given size when [General] Screen Shot Enable is 1.
// Returns the line to log: what was written, or why nothing was.
std::string TakeScreenshot(int width, int height);

// The open engine's way, for the build named openmw: a new file with the
// first free number, screenshot000.png, screenshot001.png ..., in the
// engine's screenshot folder (made when missing), in the format its
// settings.cfg names (png by default; jpg, tga, bmp), created and then
// written in place. It reads no Morrowind.ini.
std::string TakeEngineScreenshot(int width, int height);

// MGE XE is installed (MGE3\MGE.ini) and switched on (its d3d8.dll in the
// game folder): the game's own screenshots are off and MGE XE saves its own.
bool MgeActive();
// MGE XE's way: the name, format and folder its MGE.ini gives, written in
// place, never over an existing file; "Screen Shot Index" stays as it is.
// GAME_SIM_DEPTH=16 stands for a 16-bit display mode, GAME_SIM_CHARACTER
// for the character's name.
std::string TakeMgeScreenshot(int width, int height);

}  // namespace gamesim

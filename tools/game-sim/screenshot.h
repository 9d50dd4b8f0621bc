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
// engine's screenshot folder (made when missing); BMP when the engine's
// settings.cfg says "screenshot format = bmp". It reads no Morrowind.ini.
std::string TakeEngineScreenshot(int width, int height);

}  // namespace gamesim

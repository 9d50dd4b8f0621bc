#pragma once
// The picture files the game's screenshot writers make, written here by the
// simulator's own code (and stb's JPEG writer), never by the reader under
// test: BMP, JPEG, DDS, PNG and TGA as D3DX and MGE XE save a back buffer,
// and the open engine's PNG.
#include "imaging/picture.h"

#include <string>

namespace gamesim {

enum class FileFormat { Bmp, Jpeg, Dds, Png, Tga };

// `sixteenBits`: the back buffer of a 16-bit display mode (R5G6B5), for the
// formats that keep it so (BMP and DDS); 32-bit X8R8G8B8 otherwise.
std::string Encode(const glintbook::Picture& picture, FileFormat format, bool sixteenBits = false);

// Writes `bytes` straight into a new file at `path`, as these writers do (no
// temporary, no rename); with GAME_SIM_PAUSE_MS set it stops that long half
// way, the file cut short on disk meanwhile. Fails when the file exists.
// Returns "" or why it failed.
std::string WriteInPlace(const std::string& path, const std::string& bytes);

}  // namespace gamesim

#pragma once
// The photograph's mesh in the game's NIF format (version 4.0.0.2): a flat
// picture lying face up, 20 x 20 units, its texture named by its bare file
// name (the game looks it up in "Data Files\Textures"), on a slightly larger
// dark frame.
#include <string>
#include <string_view>

namespace glintbook::plugin {

std::string PhotoMesh(std::string_view textureName);

}  // namespace glintbook::plugin

#include "plugin/photo_mesh.h"

#include "plugin/bytes.h"

#include <cmath>
#include <cstdint>
#include <vector>

namespace glintbook::plugin {

namespace {

// Block indexes: the root and, below it, the picture and the frame, each a
// shape with its properties and its data. Blocks refer to each other by
// index; -1 is none.
enum Block : std::int32_t {
    kRoot,
    kPicture,
    kTexturing,
    kTexture,
    kPictureMaterial,
    kPictureData,
    kFrame,
    kFrameMaterial,
    kFrameData,
    kBlockCount
};
constexpr std::int32_t kNone = -1;

constexpr float kHalfPicture = 10.0f;
constexpr float kHalfFrame = 11.5f;
constexpr float kPictureLift = 0.25f;  // above the frame, so the two never fight for the same pixels

// Versions before 4.1 store a boolean in 4 bytes.
void Bool(Bytes& b, bool v) { b.u32(v ? 1 : 0); }
void String(Bytes& b, std::string_view s) { b.u32(std::uint32_t(s.size())).text(s); }

// Each block is led by its type name. Then, for every named object: its
// name, no extra data, no controller.
void Begin(Bytes& b, std::string_view type, std::string_view name) {
    String(b, type);
    String(b, name);
    b.i32(kNone).i32(kNone);
}

// An object in the scene: flags, a placement that changes nothing (no
// translation, identity rotation, scale 1, no velocity), its properties and
// no bounding box.
void SceneObject(Bytes& b, std::uint16_t flags, const std::vector<std::int32_t>& properties) {
    b.u16(flags);
    for (float v : {0.f, 0.f, 0.f, 1.f, 0.f, 0.f, 0.f, 1.f, 0.f, 0.f, 0.f, 1.f, 1.f, 0.f, 0.f, 0.f}) b.f32(v);
    b.u32(std::uint32_t(properties.size()));
    for (std::int32_t p : properties) b.i32(p);
    Bool(b, false);
}

void Shape(Bytes& b, std::string_view name, const std::vector<std::int32_t>& properties, std::int32_t data) {
    Begin(b, "NiTriShape", name);
    SceneObject(b, 0x0004, properties);
    b.i32(data).i32(kNone);  // its data; no skin
}

void Material(Bytes& b, std::string_view name, float r, float g, float bl) {
    Begin(b, "NiMaterialProperty", name);
    b.u16(0x0001);
    for (float v : {r, g, bl, r, g, bl}) b.f32(v);  // ambient, diffuse
    for (int i = 0; i < 6; ++i) b.f32(0);          // specular, emissive
    b.f32(10.0f).f32(1.0f);                        // glossiness, alpha (opaque)
}

// A square of side 2*half at height z, facing up: 4 corners with normals and
// texture coordinates (the image's top-left at u, v = 0, 0 on the far left
// corner), 2 triangles counter-clockwise seen from above.
void Quad(Bytes& b, float half, float z) {
    const float corners[4][2] = {{-half, half}, {half, half}, {-half, -half}, {half, -half}};
    String(b, "NiTriShapeData");
    b.u16(4);
    Bool(b, true);
    for (const auto& c : corners) b.f32(c[0]).f32(c[1]).f32(z);
    Bool(b, true);
    for (int i = 0; i < 4; ++i) b.f32(0).f32(0).f32(1);
    b.f32(0).f32(0).f32(z).f32(half * std::sqrt(2.0f));  // bounding sphere: centre, radius
    Bool(b, false);                                      // no vertex colours
    b.u16(1);                                            // one set of texture coordinates
    Bool(b, true);
    for (const auto& c : corners) b.f32(c[0] < 0 ? 0.f : 1.f).f32(c[1] > 0 ? 0.f : 1.f);
    b.u16(2).u32(6);
    for (std::uint16_t v : {2, 3, 1, 2, 1, 0}) b.u16(v);
    b.u16(0);  // no groups of matching vertices
}

}  // namespace

std::string PhotoMesh(std::string_view textureName) {
    Bytes b;
    b.text("NetImmerse File Format, Version 4.0.0.2\n").u32(0x04000002).u32(kBlockCount);

    Begin(b, "NiNode", "Glintbook Photo");
    SceneObject(b, 0x000C, {});
    b.u32(2).i32(kPicture).i32(kFrame).u32(0);  // children; no effects

    Shape(b, "Picture", {kTexturing, kPictureMaterial}, kPictureData);

    Begin(b, "NiTexturingProperty", "");
    b.u16(0).u32(2).u32(7);  // flags, apply mode "modulate", 7 texture slots
    Bool(b, true);           // the base texture:
    b.i32(kTexture).u32(0).u32(2).u32(0);  // its source, clamped, trilinear filtering, texture coordinates 0
    b.i16(0).i16(-75).u16(0);              // the PS2 values the game's own meshes carry
    for (int slot = 1; slot < 7; ++slot) Bool(b, false);  // dark, detail, gloss, glow, bump, decal: none

    Begin(b, "NiSourceTexture", "");
    b.u8(1);  // an external file
    String(b, textureName);
    b.u32(6).u32(2).u32(3).u8(1);  // pixel layout, mipmaps and alpha as the game likes; static

    Material(b, "Picture", 1.f, 1.f, 1.f);
    Quad(b, kHalfPicture, kPictureLift);

    Shape(b, "Frame", {kFrameMaterial}, kFrameData);
    Material(b, "Frame", 0.24f, 0.16f, 0.10f);
    Quad(b, kHalfFrame, 0.0f);

    b.u32(1).i32(kRoot);  // one root
    return b.str();
}

}  // namespace glintbook::plugin

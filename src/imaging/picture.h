#pragma once
// A picture that owns its pixels: 32 bits a pixel in memory, row by row from
// the top-left pixel, never flipped. Each pixel is a Colour 0x00BBGGRR (red in
// the low byte), the layout the resampler's arithmetic is defined on.
#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <type_traits>
#include <utility>
#include <vector>

namespace glintbook {

using Colour = std::uint32_t;

// Leaves new elements uninitialised where the element type allows it: a
// picture's pixels are all written by whoever makes them, and zeroing 33 MB
// first (a 4K screenshot) would cost as much as decoding it.
template <class T>
struct UninitialisedAllocator : std::allocator<T> {
    template <class U>
    struct rebind {
        using other = UninitialisedAllocator<U>;
    };
    UninitialisedAllocator() = default;
    template <class U>
    UninitialisedAllocator(const UninitialisedAllocator<U>&) noexcept {}
    template <class U>
    void construct(U* p) noexcept(std::is_nothrow_default_constructible_v<U>) {
        ::new (static_cast<void*>(p)) U;
    }
    template <class U, class... Args>
    void construct(U* p, Args&&... args) {
        ::new (static_cast<void*>(p)) U(std::forward<Args>(args)...);
    }
};

// Pixels(n) leaves them to be written; Pixels(n, c) fills them with c.
using Pixels = std::vector<Colour, UninitialisedAllocator<Colour>>;

struct Picture {
    int width = 0;
    int height = 0;
    Pixels pixels;  // width * height, row-major, top row first

    Colour at(int x, int y) const { return pixels[std::size_t(y) * std::size_t(width) + std::size_t(x)]; }
    Colour& at(int x, int y) { return pixels[std::size_t(y) * std::size_t(width) + std::size_t(x)]; }
};

}  // namespace glintbook

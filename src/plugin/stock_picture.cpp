#include "plugin/stock_picture.h"

#include <algorithm>
#include <cstdlib>

namespace glintbook::plugin {

namespace {

Colour Rgb(int r, int g, int b) { return Colour(r) | Colour(g) << 8 | Colour(b) << 16; }

Colour Mix(int r0, int g0, int b0, int r1, int g1, int b1, double t) {
    auto m = [t](int a, int b) { return int(a + (b - a) * t + 0.5); };
    return Rgb(m(r0, r1), m(g0, g1), m(b0, b1));
}

}  // namespace

// A sheet of photographic paper with a wider margin below, as an instant
// photograph has, and in its window the faded outline every viewer shows
// for a picture not yet there: a sun over two hills.
Picture StockPicture() {
    constexpr int side = kStockSide, margin = 28, bottom = 88;
    constexpr int top = margin, left = margin, right = side - margin, base = side - bottom;
    Picture p{side, side, Pixels(std::size_t(side) * side)};
    for (int y = 0; y < side; ++y)
        for (int x = 0; x < side; ++x) {
            Colour c;
            if (x < left || x >= right || y < top || y >= base) {
                c = Rgb(238, 232, 216);  // paper
            } else if (x == left || x == right - 1 || y == top || y == base - 1) {
                c = Rgb(196, 190, 176);  // the window's edge
            } else {
                const double t = double(y - top) / (base - top);
                const int dx = x - 352, dy = y - 130;
                const int farHill = 250 + std::abs(x - 190) * 2 / 3, nearHill = 300 + std::abs(x - 350) * 3 / 4;
                if (y >= nearHill)
                    c = Rgb(138, 148, 156);
                else if (y >= farHill)
                    c = Rgb(160, 170, 178);
                else if (dx * dx + dy * dy <= 38 * 38)
                    c = Rgb(226, 226, 218);
                else
                    c = Mix(206, 212, 216, 182, 190, 198, std::min(t * 1.6, 1.0));
            }
            p.at(x, y) = c;
        }
    return p;
}

}  // namespace glintbook::plugin

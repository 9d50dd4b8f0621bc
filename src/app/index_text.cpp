#include "app/index_text.h"

#include <cmath>
#include <limits>

namespace glintbook {

double TextValue(std::string_view text) {
    size_t i = 0;
    while (i < text.size() && (text[i] == ' ' || text[i] == '\t')) ++i;
    bool negative = false;
    if (i < text.size() && (text[i] == '+' || text[i] == '-')) negative = text[i++] == '-';
    double value = 0;
    bool any = false;
    for (; i < text.size() && text[i] >= '0' && text[i] <= '9'; ++i, any = true) value = value * 10 + (text[i] - '0');
    if (i < text.size() && text[i] == '.') {
        double scale = 0.1;
        for (++i; i < text.size() && text[i] >= '0' && text[i] <= '9'; ++i, scale /= 10, any = true)
            value += (text[i] - '0') * scale;
    }
    if (!any) return 0;
    return negative ? -value : value;
}

long long WholePart(double value) {
    const double t = std::trunc(value);
    if (!(t > double(std::numeric_limits<long long>::min()))) return std::numeric_limits<long long>::min();
    if (!(t < double(std::numeric_limits<long long>::max()))) return std::numeric_limits<long long>::max();
    return static_cast<long long>(t);
}

}  // namespace glintbook

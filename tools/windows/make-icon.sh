#!/bin/sh
# Draws src/app/win32/glintbook.ico, a framed picture, at every size Windows
# asks for (16 to 256 pixels), each drawn at its own size so that the small
# ones stay sharp. Uses ImageMagick. Run from the repository's root.
set -e
out=src/app/win32/glintbook.ico
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
# The design on a 32-unit grid: x0 y0 x1 y1 colour.
rect() { # rect SIZE X0 Y0 X1 Y1 -> ImageMagick rectangle in pixels
    echo "rectangle $(($2 * $1 / 32)),$(($3 * $1 / 32)) $(($4 * $1 / 32 - 1)),$(($5 * $1 / 32 - 1))"
}
files=
for s in 16 24 32 48 64 128 256; do
    convert -size ${s}x$s xc:'#5a3e24' \
        -fill '#e8dcb8' -draw "$(rect $s 3 3 29 29)" \
        -fill '#3c648c' -draw "$(rect $s 7 7 25 15)" \
        -fill '#4e6e3a' -draw "$(rect $s 7 15 25 21)" \
        -fill '#f0d060' -draw "$(rect $s 18 9 22 13)" \
        -fill '#8a7450' -draw "$(rect $s 7 23 25 25)" \
        "PNG32:$tmp/$s.png"
    files="$files $tmp/$s.png"
done
convert $files "$out"

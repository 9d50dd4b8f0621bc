#pragma once
// How the Qt window looks: its icon and a dialog font that fits the layout.
#include <QFont>
#include <QIcon>

class QWidget;

namespace glintbook {

// A 32x32 album page with a framed picture on it.
QIcon ProgramIcon();

// The layout was drawn for a narrow dialog font of about 8 points. Prefers
// one with those metrics; where only a wider one is installed, steps the size
// down until every caption of `window`'s buttons, options and labels fits.
QFont DialogFont(const QWidget& window);

}  // namespace glintbook

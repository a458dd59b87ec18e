// A scroll area shows a control that takes the keyboard only when Tab moves on inside it, and not when the
// keyboard comes from elsewhere or is moved by the program.
#pragma once

#include <QScrollArea>

namespace fernwahrung {

/// From now on the area scrolls to whatever inside it takes the keyboard, unless the mouse put it there.
void followFocus(QScrollArea& area);

}  // namespace fernwahrung

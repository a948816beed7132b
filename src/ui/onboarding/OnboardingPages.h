#pragma once

// The five pages of the introduction, each a plain widget: welcome, the fast
// loudness check (a demonstration video and four steps), simple mode (the
// animated miniature and three cards), manual edit mode (a video and the
// mouse gestures) and the closing page.

class QWidget;

namespace OnboardingPages {

inline constexpr int pageCount = 5;

// The page for `index`; any index past the last gives the last page.
QWidget* make(int index);

} // namespace OnboardingPages

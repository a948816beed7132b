#pragma once

#include <QLabel>

// A label that names `control`: Alt and its underlined letter reach the
// control, and a screen reader says the label's words for it.
inline QLabel* labelFor(const QString& text, QWidget* control) {
    auto* label = new QLabel(text);
    label->setBuddy(control);
    return label;
}

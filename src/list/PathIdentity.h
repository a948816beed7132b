#pragma once

#include <QString>

// Whether two paths name one file: through links when both exist, otherwise
// by their cleaned absolute form. Guards every write against replacing a
// file the user listed.
bool isSameFile(const QString& a, const QString& b);

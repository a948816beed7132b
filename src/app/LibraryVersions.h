#pragma once

#include <QStringList>

// The libraries this program runs on, each with the version it found at
// run time ("libsndfile 1.2.0"), for the About box.
QStringList libraryVersions();

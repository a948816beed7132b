#include "app/LibraryVersions.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/avutil.h>
}
#include <portaudio.h>
#include <sndfile.h>
#include <soxr.h>
#include <taglib/taglib.h>

namespace {

// "libsndfile-1.2.0" and "libsoxr-0.1.3" as "libsndfile 1.2.0".
QString spaced(const char* text) {
    QString s = QString::fromUtf8(text);
    if (const qsizetype dash = s.lastIndexOf(QLatin1Char('-')); dash > 0 && s.at(dash + 1).isDigit())
        s[dash] = QLatin1Char(' ');
    return s;
}

QString dotted(unsigned version) {
    return QStringLiteral("%1.%2.%3").arg(version >> 16).arg((version >> 8) & 0xff).arg(version & 0xff);
}

} // namespace

QStringList libraryVersions() {
    return {QStringLiteral("Qt %1").arg(QString::fromLatin1(qVersion())),
            QStringLiteral("FFmpeg %1 (libavformat %2, libavcodec %3)")
                .arg(QString::fromUtf8(av_version_info()), dotted(avformat_version()), dotted(avcodec_version())),
            spaced(sf_version_string()), spaced(soxr_version()),
            QString::fromUtf8(Pa_GetVersionText()).section(QLatin1Char(','), 0, 0), // without its revision
            // TagLib 1 tells its version only to the compiler.
            QStringLiteral("TagLib %1.%2.%3")
                .arg(TAGLIB_MAJOR_VERSION)
                .arg(TAGLIB_MINOR_VERSION)
                .arg(TAGLIB_PATCH_VERSION)};
}

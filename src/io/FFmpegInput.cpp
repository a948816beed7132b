#include "io/FFmpegInput.h"

#include "io/NativePath.h"

extern "C" {
#include <libavformat/avformat.h>
#include <libavutil/log.h>
#include <libavutil/mem.h>
}

#include <mutex>

namespace FFmpegInput {

void quiet() {
    static std::once_flag once;
    std::call_once(once, [] {
        av_log_set_level(AV_LOG_QUIET);
        av_max_alloc(maximumAllocation);
    });
}

int open(AVFormatContext** format, const QString& path) {
    quiet();
    const QByteArray url = "file:" + NativePath::encode(NativePath::absolute(path));
    AVDictionary* options = nullptr;
    av_dict_set(&options, "protocol_whitelist", "file", 0);
    const int result = avformat_open_input(format, url.constData(), nullptr, &options);
    av_dict_free(&options);
    return result;
}

QString describe(int code) {
    char text[AV_ERROR_MAX_STRING_SIZE]{};
    av_strerror(code, text, sizeof text);
    return QString::fromUtf8(text);
}

} // namespace FFmpegInput

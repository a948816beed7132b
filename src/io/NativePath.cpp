#include "io/NativePath.h"

#include <QDir>
#include <QFileInfo>
#include <cstdlib>
#include <sys/stat.h>

namespace NativePath {

namespace {

constexpr char16_t escapeBase = 0xDC00;

bool isEscape(char16_t unit) { return unit >= escapeBase + 0x80 && unit <= escapeBase + 0xFF; }

// The length of the valid UTF-8 sequence at `s` (at most `left` bytes),
// 0 when there is none: overlong forms, surrogates and values past U+10FFFF
// are not valid.
int sequenceLength(const unsigned char* s, qsizetype left) {
    const unsigned char c = s[0];
    int length = 0;
    char32_t value = 0;
    if (c < 0x80)
        return 1;
    if (c >= 0xC2 && c <= 0xDF) {
        length = 2;
        value = c & 0x1F;
    } else if (c >= 0xE0 && c <= 0xEF) {
        length = 3;
        value = c & 0x0F;
    } else if (c >= 0xF0 && c <= 0xF4) {
        length = 4;
        value = c & 0x07;
    } else {
        return 0;
    }
    if (left < length)
        return 0;
    for (int i = 1; i < length; ++i) {
        if ((s[i] & 0xC0) != 0x80)
            return 0;
        value = (value << 6) | (s[i] & 0x3F);
    }
    const bool overlong = (length == 3 && value < 0x800) || (length == 4 && value < 0x10000);
    const bool surrogate = value >= 0xD800 && value <= 0xDFFF;
    return overlong || surrogate || value > 0x10FFFF ? 0 : length;
}

} // namespace

QString decode(const QByteArray& bytes) {
    QString out;
    out.reserve(bytes.size());
    const auto* s = reinterpret_cast<const unsigned char*>(bytes.constData());
    qsizetype i = 0;
    while (i < bytes.size()) {
        const int length = sequenceLength(s + i, bytes.size() - i);
        if (length == 0) {
            out += QChar(char16_t(escapeBase + s[i]));
            ++i;
        } else {
            out += QString::fromUtf8(bytes.constData() + i, length);
            i += length;
        }
    }
    return out;
}

QByteArray encode(const QString& path) {
    QByteArray out;
    out.reserve(path.size());
    qsizetype start = 0;
    for (qsizetype i = 0; i <= path.size(); ++i) {
        if (i < path.size() && !isEscape(path[i].unicode()))
            continue;
        out += QStringView(path).mid(start, i - start).toUtf8();
        if (i < path.size())
            out += char(path[i].unicode() - escapeBase);
        start = i + 1;
    }
    return out;
}

QString fromUrl(const QUrl& url) {
    if (!url.isLocalFile())
        return {};
    const QString plain = url.toLocalFile();
    // Only a path with bytes that are not UTF-8 needs its bytes read back.
    if (!plain.contains(QChar::ReplacementCharacter))
        return plain;
    return decode(QByteArray::fromPercentEncoding(url.path(QUrl::FullyEncoded).toLatin1()));
}

QUrl toUrl(const QString& path) {
    const QByteArray bytes = encode(absolute(path));
    return QUrl::fromEncoded("file://" + bytes.toPercentEncoding("/"));
}

QString absolute(const QString& path) {
    return QDir::isAbsolutePath(path) ? path : QDir::cleanPath(QDir::currentPath() + QLatin1Char('/') + path);
}

bool exists(const QString& path) {
    struct stat st {};
    return ::stat(encode(path).constData(), &st) == 0;
}

QString canonical(const QString& path) {
    char* resolved = ::realpath(encode(path).constData(), nullptr);
    if (!resolved)
        return {};
    const QString out = decode(resolved);
    std::free(resolved);
    return out;
}

QString shown(const QString& path) {
    QString out = path;
    for (QChar& c : out) {
        if (isEscape(c.unicode()))
            c = QChar::ReplacementCharacter;
    }
    return out;
}

QString shownName(const QString& path) { return shown(QFileInfo(path).fileName()); }

} // namespace NativePath

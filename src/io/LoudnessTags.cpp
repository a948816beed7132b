#include "io/LoudnessTags.h"

#include "io/AudioTags.h"
#include "io/Error.h"
#include "io/NativePath.h"

#include <QFile>
#include <QFileInfo>
#include <cmath>
#include <taglib/flacfile.h>
#include <taglib/id3v2tag.h>
#include <taglib/mp4file.h>
#include <taglib/mp4tag.h>
#include <taglib/mpegfile.h>
#include <taglib/opusfile.h>
#include <taglib/textidentificationframe.h>
#include <taglib/vorbisfile.h>
#include <taglib/xiphcomment.h>

namespace {

enum class Kind { mp3, flac, vorbis, opus, m4a };

// Every name either kind of loudness tag goes by; taken off before writing.
const QStringList loudnessNames{QStringLiteral("REPLAYGAIN_TRACK_GAIN"),
                                QStringLiteral("REPLAYGAIN_TRACK_PEAK"),
                                QStringLiteral("REPLAYGAIN_ALBUM_GAIN"),
                                QStringLiteral("REPLAYGAIN_ALBUM_PEAK"),
                                QStringLiteral("REPLAYGAIN_REFERENCE_LOUDNESS"),
                                QStringLiteral("R128_TRACK_GAIN"),
                                QStringLiteral("R128_ALBUM_GAIN")};

const QString iTunesPrefix = QStringLiteral("----:com.apple.iTunes:");

// An Ogg file is Vorbis or Opus by its first packet, whatever its extension says.
std::optional<Kind> oggKind(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt;
    const QByteArray start = file.read(64);
    if (start.contains("OpusHead"))
        return Kind::opus;
    if (start.contains("\x01vorbis"))
        return Kind::vorbis;
    return std::nullopt;
}

std::optional<Kind> kindOf(const QString& path) {
    const QString extension = QFileInfo(path).suffix().toLower();
    if (extension == QLatin1String("mp3"))
        return Kind::mp3;
    if (extension == QLatin1String("flac"))
        return Kind::flac;
    if (extension == QLatin1String("m4a"))
        return Kind::m4a;
    if (extension == QLatin1String("ogg") || extension == QLatin1String("oga") || extension == QLatin1String("opus"))
        return oggKind(path);
    return std::nullopt;
}

TagLib::String toTag(const QString& text) { return TagLib::String(text.toStdString(), TagLib::String::UTF8); }
QString fromTag(const TagLib::String& text) { return QString::fromStdString(text.to8Bit(true)).trimmed(); }

// A gain as ReplayGain writes it: "-3.21 dB", never "-0.00 dB".
QString gainText(double db) {
    const double rounded = std::round(db * 100.0) / 100.0;
    return QString::number(rounded == 0.0 ? 0.0 : rounded, 'f', 2) + QStringLiteral(" dB");
}

QString peakText(double dbtp) { return QString::number(std::pow(10.0, dbtp / 20.0), 'f', 6); }

// Q7.8 of the gain to -23 LUFS, clamped to what 16 bits hold.
QString r128Text(double lufs) {
    return QString::number(
        std::clamp<long>(std::lround(256.0 * (LoudnessTags::r128ReferenceLUFS - lufs)), -32768, 32767));
}

bool isLoudnessName(const QString& name) { return loudnessNames.contains(name.toUpper()); }

// The tags of one kind of file, read and set through TagLib; `Edit` does both.
struct Mp3Tags {
    TagLib::MPEG::File file;
    explicit Mp3Tags(const char* path) : file(path, false) {}
    bool valid() { return file.isValid(); }
    LoudnessTagList read() {
        LoudnessTagList found;
        if (!file.hasID3v2Tag())
            return found;
        for (TagLib::ID3v2::Frame* frame : file.ID3v2Tag()->frameList("TXXX"))
            if (auto* text = dynamic_cast<TagLib::ID3v2::UserTextIdentificationFrame*>(frame))
                if (isLoudnessName(fromTag(text->description())) && text->fieldList().size() > 1)
                    found.push_back({fromTag(text->description()).toUpper(), fromTag(text->fieldList()[1])});
        return found;
    }
    bool write(const LoudnessTagList& tags) {
        TagLib::ID3v2::Tag* tag = file.ID3v2Tag(true);
        const TagLib::ID3v2::FrameList frames = tag->frameList("TXXX");
        for (TagLib::ID3v2::Frame* frame : frames)
            if (auto* text = dynamic_cast<TagLib::ID3v2::UserTextIdentificationFrame*>(frame))
                if (isLoudnessName(fromTag(text->description())))
                    tag->removeFrame(frame);
        for (const LoudnessTag& t : tags) {
            auto* frame = new TagLib::ID3v2::UserTextIdentificationFrame(TagLib::String::UTF8);
            frame->setDescription(toTag(t.name));
            frame->setText(toTag(t.value));
            tag->addFrame(frame); // the tag owns it
        }
        // The tag keeps its version; the file's other tags (ID3v1, APE) stay.
        const auto version = tag->header()->majorVersion() == 3 ? TagLib::ID3v2::v3 : TagLib::ID3v2::v4;
        return file.save(TagLib::MPEG::File::ID3v2, TagLib::File::StripNone, version, TagLib::File::DoNotDuplicate);
    }
};

LoudnessTagList readXiph(const TagLib::Ogg::XiphComment* comment) {
    LoudnessTagList found;
    if (!comment)
        return found;
    for (const auto& [name, values] : comment->fieldListMap())
        if (isLoudnessName(fromTag(name)) && !values.isEmpty())
            found.push_back({fromTag(name).toUpper(), fromTag(values.front())});
    return found;
}

void writeXiph(TagLib::Ogg::XiphComment* comment, const LoudnessTagList& tags) {
    for (const QString& name : loudnessNames) // TagLib keeps field names in upper case
        comment->removeFields(toTag(name));
    for (const LoudnessTag& t : tags)
        comment->addField(toTag(t.name), toTag(t.value), true);
}

struct FlacTags {
    TagLib::FLAC::File file;
    explicit FlacTags(const char* path) : file(path, false) {}
    bool valid() { return file.isValid(); }
    LoudnessTagList read() { return readXiph(file.xiphComment(false)); }
    bool write(const LoudnessTagList& tags) {
        writeXiph(file.xiphComment(true), tags);
        return file.save();
    }
};

template <typename OggFile> struct OggTags {
    OggFile file;
    explicit OggTags(const char* path) : file(path, false) {}
    bool valid() { return file.isValid(); }
    LoudnessTagList read() { return readXiph(file.tag()); }
    bool write(const LoudnessTagList& tags) {
        writeXiph(file.tag(), tags);
        return file.save();
    }
};

struct M4aTags {
    TagLib::MP4::File file;
    explicit M4aTags(const char* path) : file(path, false) {}
    bool valid() { return file.isValid() && file.tag(); }
    LoudnessTagList read() {
        LoudnessTagList found;
        for (const auto& [key, item] : file.tag()->itemMap()) {
            const QString name = fromTag(key);
            if (name.startsWith(iTunesPrefix, Qt::CaseInsensitive) && isLoudnessName(name.mid(iTunesPrefix.size())) &&
                !item.toStringList().isEmpty())
                found.push_back({name.mid(iTunesPrefix.size()).toUpper(), fromTag(item.toStringList().front())});
        }
        return found;
    }
    bool write(const LoudnessTagList& tags) {
        TagLib::MP4::Tag* tag = file.tag();
        for (const auto& [key, item] : TagLib::MP4::ItemMap(tag->itemMap())) {
            const QString name = fromTag(key);
            if (name.startsWith(iTunesPrefix, Qt::CaseInsensitive) && isLoudnessName(name.mid(iTunesPrefix.size())))
                tag->removeItem(key);
        }
        for (const LoudnessTag& t : tags)
            tag->setItem(toTag(iTunesPrefix + t.name), TagLib::MP4::Item(TagLib::StringList(toTag(t.value))));
        return file.save();
    }
};

// Runs `use` on the file's tags, opened as its kind, under TagLib's lock.
template <typename Use> auto withTags(const QString& path, Kind kind, Use use) {
    const std::lock_guard lock(AudioTagCopy::tagLibLock());
    const QByteArray name = NativePath::encode(path);
    switch (kind) {
    case Kind::mp3: {
        Mp3Tags tags(name.constData());
        return use(tags);
    }
    case Kind::flac: {
        FlacTags tags(name.constData());
        return use(tags);
    }
    case Kind::vorbis: {
        OggTags<TagLib::Ogg::Vorbis::File> tags(name.constData());
        return use(tags);
    }
    case Kind::opus: {
        OggTags<TagLib::Ogg::Opus::File> tags(name.constData());
        return use(tags);
    }
    case Kind::m4a: break;
    }
    M4aTags tags(name.constData());
    return use(tags);
}

} // namespace

namespace LoudnessTags {

std::optional<QString> unsupported(const QString& path) {
    if (kindOf(path))
        return std::nullopt;
    const QString extension = QFileInfo(path).suffix().toLower();
    if (extension == QLatin1String("ogg") || extension == QLatin1String("oga") || extension == QLatin1String("opus"))
        return QStringLiteral("holds neither Vorbis nor Opus audio");
    return QStringLiteral("%1 files carry no loudness tags; MP3, FLAC, Ogg Vorbis, Opus and M4A do")
        .arg(extension.isEmpty() ? QStringLiteral("such") : extension.toUpper());
}

LoudnessTagList tagsFor(const QString& path, const LoudnessTagFigures& f) {
    LoudnessTagList tags;
    const bool silentTrack = f.trackIntegratedLUFS <= -70.0;
    const bool silentAlbum = !f.albumIntegratedLUFS || *f.albumIntegratedLUFS <= -70.0;
    if (kindOf(path) == Kind::opus) {
        if (!silentTrack)
            tags.push_back({QStringLiteral("R128_TRACK_GAIN"), r128Text(f.trackIntegratedLUFS)});
        if (!silentAlbum)
            tags.push_back({QStringLiteral("R128_ALBUM_GAIN"), r128Text(*f.albumIntegratedLUFS)});
        return tags;
    }
    if (!silentTrack)
        tags.push_back(
            {QStringLiteral("REPLAYGAIN_TRACK_GAIN"), gainText(replayGainReferenceLUFS - f.trackIntegratedLUFS)});
    tags.push_back({QStringLiteral("REPLAYGAIN_TRACK_PEAK"), peakText(f.trackTruePeakDBTP)});
    if (f.albumIntegratedLUFS) {
        if (!silentAlbum)
            tags.push_back(
                {QStringLiteral("REPLAYGAIN_ALBUM_GAIN"), gainText(replayGainReferenceLUFS - *f.albumIntegratedLUFS)});
        tags.push_back({QStringLiteral("REPLAYGAIN_ALBUM_PEAK"), peakText(f.albumTruePeakDBTP.value_or(-120.0))});
    }
    return tags;
}

LoudnessTagList read(const QString& path) {
    const std::optional<Kind> kind = kindOf(path);
    if (!kind)
        return {};
    return withTags(path, *kind, [](auto& tags) { return tags.valid() ? tags.read() : LoudnessTagList{}; });
}

void writeInPlace(const QString& path, const LoudnessTagList& tags) {
    const std::optional<Kind> kind = kindOf(path);
    const auto fail = [&](const QString& reason) { return Failure(Error::Kind::file, reason, path); };
    if (!kind)
        throw fail(*unsupported(path));
    const std::optional<bool> written =
        withTags(path, *kind, [&](auto& t) { return t.valid() ? std::optional(t.write(tags)) : std::nullopt; });
    if (!written)
        throw fail(QStringLiteral("its tags could not be read"));
    if (!*written)
        throw fail(QStringLiteral("its tags could not be written"));
}

} // namespace LoudnessTags

#include "io/AudioTags.h"

#include "io/Error.h"
#include "io/FFmpegInput.h"
#include "io/NativePath.h"

extern "C" {
#include <libavformat/avformat.h>
}

#include <QFileInfo>
#include <array>
#include <memory>
#include <mutex>
#include <taglib/attachedpictureframe.h>
#include <taglib/flacfile.h>
#include <taglib/flacpicture.h>
#include <taglib/id3v2tag.h>
#include <taglib/infotag.h>
#include <taglib/mp4coverart.h>
#include <taglib/mp4file.h>
#include <taglib/mp4tag.h>
#include <taglib/mpegfile.h>
#include <taglib/opusfile.h>
#include <taglib/tpropertymap.h>
#include <taglib/vorbisfile.h>
#include <taglib/wavfile.h>
#include <taglib/xiphcomment.h>

namespace {

struct Field {
    const char* property;
    std::array<const char*, 3> keys; // the names FFmpeg's demuxers give it, case ignored
};

constexpr std::array<Field, 9> fields{{
    {"TITLE", {"title", nullptr, nullptr}},
    {"ARTIST", {"artist", nullptr, nullptr}},
    {"ALBUM", {"album", nullptr, nullptr}},
    {"ALBUMARTIST", {"album_artist", "albumartist", "album artist"}},
    {"TRACKNUMBER", {"track", "tracknumber", nullptr}},
    {"DISCNUMBER", {"disc", "discnumber", nullptr}},
    {"DATE", {"date", "year", nullptr}},
    {"GENRE", {"genre", nullptr, nullptr}},
    {"COMMENT", {"comment", "description", nullptr}},
}};

QString lookUp(const AVDictionary* metadata, const char* key) {
    const AVDictionaryEntry* entry = av_dict_get(metadata, key, nullptr, 0);
    return entry && entry->value ? QString::fromUtf8(entry->value).trimmed() : QString();
}

// A number with its total when the source keeps the total apart ("3" and 12).
QString withTotal(const QString& number, const AVDictionary* metadata, const char* totalKey) {
    const QString total = lookUp(metadata, totalKey);
    return number.contains(QLatin1Char('/')) || total.isEmpty() ? number : number + QLatin1Char('/') + total;
}

void readText(const AVDictionary* metadata, AudioTags& tags) {
    for (const Field& field : fields) {
        const QString name = QString::fromLatin1(field.property);
        for (const char* key : field.keys) {
            if (!key || tags.text.contains(name))
                continue;
            QString value = lookUp(metadata, key);
            if (value.isEmpty())
                continue;
            if (name == QLatin1String("TRACKNUMBER"))
                value = withTotal(value, metadata, "tracktotal");
            else if (name == QLatin1String("DISCNUMBER"))
                value = withTotal(value, metadata, "disctotal");
            tags.text.insert(name, value);
        }
    }
}

void readPicture(const AVFormatContext* format, AudioTags& tags) {
    for (unsigned i = 0; i < format->nb_streams; ++i) {
        const AVStream* stream = format->streams[i];
        if (!(stream->disposition & AV_DISPOSITION_ATTACHED_PIC) || stream->attached_pic.size <= 0)
            continue;
        const AVCodecID codec = stream->codecpar->codec_id;
        if (codec != AV_CODEC_ID_MJPEG && codec != AV_CODEC_ID_PNG)
            continue;
        tags.picture = QByteArray(reinterpret_cast<const char*>(stream->attached_pic.data), stream->attached_pic.size);
        tags.pictureType = codec == AV_CODEC_ID_PNG ? QStringLiteral("image/png") : QStringLiteral("image/jpeg");
        return;
    }
}

TagLib::String toTag(const QString& text) { return TagLib::String(text.toStdString(), TagLib::String::UTF8); }

TagLib::PropertyMap properties(const AudioTags& tags) {
    TagLib::PropertyMap map;
    for (auto it = tags.text.begin(); it != tags.text.end(); ++it)
        map.insert(toTag(it.key()), TagLib::StringList(toTag(it.value())));
    return map;
}

TagLib::ByteVector bytes(const QByteArray& data) {
    return TagLib::ByteVector(data.constData(), static_cast<unsigned>(data.size()));
}

void saved(bool ok, const QByteArray& path) {
    if (!ok)
        throw Failure(
            Error::Kind::file,
            QStringLiteral("Cannot write the tags of \"%1\"").arg(NativePath::shown(NativePath::decode(path))));
}

// The cover as FLAC and the Vorbis comments of Ogg files hold it.
TagLib::FLAC::Picture* flacPicture(const AudioTags& tags) {
    auto* picture = new TagLib::FLAC::Picture;
    picture->setMimeType(toTag(tags.pictureType));
    picture->setType(TagLib::FLAC::Picture::FrontCover);
    picture->setData(bytes(tags.picture));
    return picture;
}

void writeMp3(const QByteArray& path, const AudioTags& tags) {
    TagLib::MPEG::File file(path.constData(), false);
    if (!file.isValid())
        return;
    TagLib::ID3v2::Tag* tag = file.ID3v2Tag(true);
    tag->setProperties(properties(tags));
    if (!tags.picture.isEmpty()) {
        auto* frame = new TagLib::ID3v2::AttachedPictureFrame;
        frame->setMimeType(toTag(tags.pictureType));
        frame->setType(TagLib::ID3v2::AttachedPictureFrame::FrontCover);
        frame->setPicture(bytes(tags.picture));
        tag->addFrame(frame); // the tag owns it
    }
    saved(file.save(TagLib::MPEG::File::ID3v2, TagLib::File::StripOthers, TagLib::ID3v2::v3), path);
}

void writeFlac(const QByteArray& path, const AudioTags& tags) {
    TagLib::FLAC::File file(path.constData(), false);
    if (!file.isValid())
        return;
    file.xiphComment(true)->setProperties(properties(tags));
    if (!tags.picture.isEmpty())
        file.addPicture(flacPicture(tags)); // the file owns it
    saved(file.save(), path);
}

void writeWav(const QByteArray& path, const AudioTags& tags) {
    TagLib::RIFF::WAV::File file(path.constData(), false);
    if (!file.isValid())
        return;
    file.ID3v2Tag()->setProperties(properties(tags));
    // INFO holds the fields every WAV reader knows; the ID3 chunk holds all.
    TagLib::RIFF::Info::Tag* info = file.InfoTag();
    const auto field = [&](const char* name) { return toTag(tags.text.value(QString::fromLatin1(name))); };
    info->setTitle(field("TITLE"));
    info->setArtist(field("ARTIST"));
    info->setAlbum(field("ALBUM"));
    info->setGenre(field("GENRE"));
    info->setComment(field("COMMENT"));
    info->setYear(tags.text.value(QStringLiteral("DATE")).left(4).toUInt());
    info->setTrack(tags.text.value(QStringLiteral("TRACKNUMBER")).section(QLatin1Char('/'), 0, 0).toUInt());
    saved(file.save(TagLib::RIFF::WAV::File::AllTags, TagLib::File::StripOthers), path);
}

// Ogg Vorbis and Opus: Vorbis comments, the cover as a METADATA_BLOCK_PICTURE.
template <typename OggFile> void writeOgg(const QByteArray& path, const AudioTags& tags) {
    OggFile file(path.constData(), false);
    if (!file.isValid())
        return;
    file.tag()->setProperties(properties(tags));
    if (!tags.picture.isEmpty())
        file.tag()->addPicture(flacPicture(tags)); // the comment owns it
    saved(file.save(), path);
}

// AAC in M4A: iTunes atoms, the cover as its cover art.
void writeM4a(const QByteArray& path, const AudioTags& tags) {
    TagLib::MP4::File file(path.constData(), false);
    if (!file.isValid())
        return;
    file.tag()->setProperties(properties(tags));
    if (!tags.picture.isEmpty()) {
        const auto format =
            tags.pictureType == QLatin1String("image/png") ? TagLib::MP4::CoverArt::PNG : TagLib::MP4::CoverArt::JPEG;
        TagLib::MP4::CoverArtList covers;
        covers.append(TagLib::MP4::CoverArt(format, bytes(tags.picture)));
        file.tag()->setItem("covr", covers);
    }
    saved(file.save(), path);
}

} // namespace

namespace AudioTagCopy {

AudioTags read(const QString& path) {
    AudioTags tags;
    AVFormatContext* format = nullptr;
    if (FFmpegInput::open(&format, path) < 0)
        return tags;
    const std::unique_ptr<AVFormatContext*, void (*)(AVFormatContext**)> guard(&format, avformat_close_input);
    readText(format->metadata, tags);
    for (unsigned i = 0; i < format->nb_streams; ++i) {
        if (format->streams[i]->codecpar->codec_type == AVMEDIA_TYPE_AUDIO)
            readText(format->streams[i]->metadata, tags);
    }
    readPicture(format, tags);
    return tags;
}

std::mutex& tagLibLock() {
    static std::mutex lock;
    return lock;
}

void write(const QString& path, const AudioTags& tags) {
    if (tags.isEmpty())
        return;
    const std::lock_guard lock(tagLibLock());
    const QByteArray name = NativePath::encode(path);
    const QString extension = QFileInfo(path).suffix().toLower();
    if (extension == QLatin1String("mp3"))
        writeMp3(name, tags);
    else if (extension == QLatin1String("flac"))
        writeFlac(name, tags);
    else if (extension == QLatin1String("wav"))
        writeWav(name, tags);
    else if (extension == QLatin1String("ogg"))
        writeOgg<TagLib::Ogg::Vorbis::File>(name, tags);
    else if (extension == QLatin1String("opus"))
        writeOgg<TagLib::Ogg::Opus::File>(name, tags);
    else if (extension == QLatin1String("m4a"))
        writeM4a(name, tags);
}

} // namespace AudioTagCopy

#pragma once

// The tags that travel from a source file to its export: the descriptive
// text a player shows and the embedded cover picture. Loudness tags
// (ReplayGain, R128) are never among them: a player that honours them would
// apply a second correction on top of the export's own.

#include <QByteArray>
#include <QMap>
#include <QString>
#include <mutex>

struct AudioTags {
    // Keyed by the common property names: TITLE, ARTIST, ALBUM, ALBUMARTIST,
    // TRACKNUMBER ("3" or "3/12"), DISCNUMBER, DATE, GENRE, COMMENT.
    QMap<QString, QString> text;
    QByteArray picture;  // as stored in the source (JPEG or PNG)
    QString pictureType; // its MIME type: "image/jpeg" or "image/png"

    bool isEmpty() const { return text.isEmpty() && picture.isEmpty(); }
};

namespace AudioTagCopy {

// The tags of any file FFmpeg's libraries open, from the container and from
// its audio stream (where Ogg and Opus keep theirs). A file that cannot be
// read, or whose tags are broken, gives what could be read: never an error.
AudioTags read(const QString& path);

// Writes `tags` into the file at `path` (one the program just made),
// replacing the tags the encoder left there, by its extension: MP3 gets an
// ID3v2 tag with the picture, FLAC Vorbis comments with a PICTURE block, Ogg
// Vorbis and Opus Vorbis comments with a METADATA_BLOCK_PICTURE, M4A iTunes
// atoms with its cover art, WAV an ID3 chunk and a LIST INFO chunk with the
// text (no picture). Nothing happens for empty tags, another extension, or a
// file too large for a RIFF header (RF64). Throws a Failure when the file cannot be written.
void write(const QString& path, const AudioTags& tags);

// TagLib keeps shared state of its own (frame factories, default
// encodings) and promises nothing for threads: every use holds this.
std::mutex& tagLibLock();

} // namespace AudioTagCopy

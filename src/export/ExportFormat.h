#pragma once

// The export choices: ten formats, "Same as source", and three sample
// rates. Each format is one row: its names, its extension, the rates it
// holds and how its file is written. A new format is a new row.

#include "io/AudioFileWriter.h"
#include "io/SourceEncoding.h"

#include <QString>
#include <array>
#include <cstdint>
#include <optional>

enum class ExportFormat { wav16, wav24, wav32, mp3_320, mp3_192, mp3_128, flac, vorbis, opus, aac, same };

inline constexpr std::array<ExportFormat, 11> allExportFormats = {
    ExportFormat::wav16,   ExportFormat::wav24,   ExportFormat::wav32, ExportFormat::mp3_320,
    ExportFormat::mp3_192, ExportFormat::mp3_128, ExportFormat::flac,  ExportFormat::vorbis,
    ExportFormat::opus,    ExportFormat::aac,     ExportFormat::same};

// "Same as source" stands for one of the others, file by file: the format
// that keeps a source as it was stored. MP3, FLAC, Ogg Vorbis, Opus and AAC
// stay themselves (MP3 at `sameBitRate`), WAV keeps its bit depth (16, 24,
// else 32-bit float); another lossless source becomes FLAC, another lossy
// one AAC, and one of unknown kind FLAC.
ExportFormat sameFormatAs(const SourceEncoding& source);
// The bit rate an MP3 source is written at: its own, rounded up to one LAME
// writes (320k when it states none).
int64_t sameBitRate(const SourceEncoding& source);

// "WAV 24-bit", "MP3 320k", "FLAC" ...: the picker's label and the id.
QString label(ExportFormat format);
// The keyword of the command line and the settings: "wav24", "mp3_320" ...
QString keyword(ExportFormat format);
// Accepts the label or the keyword.
std::optional<ExportFormat> exportFormatNamed(const QString& name);

QString fileExtension(ExportFormat format);
// How the file is written: its writer, codec and samples.
OutputEncoding outputEncoding(ExportFormat format);
// Whether decoding the file gives back exactly the samples handed to its writer.
bool isLossless(ExportFormat format);
// The most channels the format holds; more are down-mixed to it.
int maximumChannels(ExportFormat format);
// Frames by which a decoded output may differ from the length written (the
// codec's frame, for formats that pad or trim).
int64_t lengthTolerance(ExportFormat format);

enum class SampleRate : int64_t { rate44100 = 44100, rate48000 = 48000, rate96000 = 96000 };

inline constexpr std::array<SampleRate, 3> allSampleRates = {SampleRate::rate44100, SampleRate::rate48000,
                                                             SampleRate::rate96000};

inline int64_t hertz(SampleRate rate) { return static_cast<int64_t>(rate); }
// Exactly 44100, 48000 or 96000.
std::optional<SampleRate> sampleRateOfHertz(int64_t hz);
QString label(SampleRate rate); // "48000 Hz"

// MP3 holds at most 48 kHz and Opus only 48 kHz; the other formats take every
// rate. "Same as source" takes every rate, each file's format then the
// nearest it holds (`heldRate`).
int64_t maximumRate(ExportFormat format);
bool supportsRate(ExportFormat format, SampleRate rate);
// Why a rate is not offered: "MP3 320k holds at most 48000 Hz", "Opus holds only 48000 Hz".
QString rateLimit(ExportFormat format);
SampleRate heldRate(ExportFormat format, SampleRate wanted);

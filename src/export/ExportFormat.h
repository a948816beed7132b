#pragma once

// The export choices: seven formats and three sample rates, with every
// parameter that the renderer and the encoder-only exporter need.

#include <QString>
#include <QStringList>
#include <array>
#include <cstdint>
#include <optional>

enum class ExportFormat { wav16, wav24, wav32, mp3_320, mp3_192, mp3_128, flac };

inline constexpr std::array<ExportFormat, 7> allExportFormats = {
    ExportFormat::wav16,   ExportFormat::wav24,   ExportFormat::wav32, ExportFormat::mp3_320,
    ExportFormat::mp3_192, ExportFormat::mp3_128, ExportFormat::flac};

// "WAV 24-bit", "MP3 320k", "FLAC" ...: the picker's label and the id.
QString rawValue(ExportFormat format);
// The case name: "wav24", "mp3_320" ...
QString caseName(ExportFormat format);
// Accepts the raw value or the case name.
std::optional<ExportFormat> exportFormatNamed(const QString& name);

QString fileExtension(ExportFormat format);
bool isWAV(ExportFormat format);
// The sample format the renderer writes: 16 or 24-bit integer for those two
// WAV formats, 32-bit float for every other.
int pcmBitDepth(ExportFormat format);
bool pcmIsFloat(ExportFormat format);
// Codec arguments of the encoder-only export and of the renderer's WAV limiter pass.
QStringList codecArguments(ExportFormat format);
// Codec arguments of the renderer's encode step; none for WAV.
QStringList encoderArguments(ExportFormat format);

enum class SampleRate : int64_t { rate44100 = 44100, rate48000 = 48000, rate96000 = 96000 };

inline constexpr std::array<SampleRate, 3> allSampleRates = {SampleRate::rate44100, SampleRate::rate48000,
                                                             SampleRate::rate96000};

inline int64_t rawValue(SampleRate rate) { return static_cast<int64_t>(rate); }
// Exactly 44100, 48000 or 96000.
std::optional<SampleRate> sampleRateFromRawValue(int64_t hz);
QString label(SampleRate rate); // "48000 Hz"

// MP3 holds at most 48 kHz; the other formats take every rate.
int64_t maximumRate(ExportFormat format);
inline bool supportsRate(ExportFormat format, SampleRate rate) { return rawValue(rate) <= maximumRate(format); }

// Leading samples the limiter chain trims: max(rate × 5 / 1000, 1) − 1 in
// integer arithmetic (5 ms is the limiter's attack); 219 at 44100 Hz.
int64_t limiterTrimSamples(int64_t rateHz);
inline int64_t limiterTrimSamples(SampleRate rate) { return limiterTrimSamples(rawValue(rate)); }

// The encoder's arguments up to its filters: replace the (new, empty)
// output, stop with an error at the first packet that does not decode, read
// `input`, and keep its audio only, without its tags: the source's tags are
// copied into the output afterwards, loudness tags left out.
QStringList encoderInputArguments(const QString& input);
// The container named, since `output` (a temporary file's descriptor path)
// has no extension to pick it by, then `output`.
QStringList encoderOutputArguments(ExportFormat format, const QString& output);

// "volume=4.50dB": the encoder's filter for a gain; empty within ±0.01 dB,
// where it would change nothing.
QString volumeFilter(double gainDB);

// The brickwall limiter at 0.966 (about −0.3 dBFS), then the trim.
inline constexpr double limiterCeilingDBFS = -0.3;
inline const QString limiterFilter = QStringLiteral("alimiter=limit=0.966:attack=5:release=50:level=false");
QString limiterTrimFilter(int64_t trimSamples); // "atrim=start_sample=S"
inline const QString restartTimestampsFilter = QStringLiteral("asetpts=PTS-STARTPTS");
// The three joined with commas, as one argument.
QString limiterChain(int64_t trimSamples);

// "Song (-16LUFS).wav" for Song.aiff at a final loudness of −16.2 LUFS:
// the source's name without extension and the loudness formatted "%.0f".
QString exportFileName(const QString& sourcePath, double finalLUFS, ExportFormat format);

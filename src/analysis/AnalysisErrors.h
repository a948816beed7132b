#pragma once

#include <exception>
#include <string>

// What a file's row shows when its analysis fails. `description()` is the
// user-facing text.

class AudioLoaderError : public std::exception {
public:
    enum class Kind {
        ffmpegFailed, // payload: the file name with its extension
        emptyFile,
        bufferCreationFailed,
        noFloatData,
        tooLong,      // payload: the frame count the reader reported
        launchFailed, // payload: why the decoder could not be started
        writeFailed,  // payload: why the temporary file could not be written
        readFailed,   // payload: the reader's own words, naming the file
        noAudio,      // payload: the file name with its extension
    };

    AudioLoaderError(Kind kind, std::string payload = {});

    Kind kind() const noexcept { return kind_; }
    const std::string& payload() const noexcept { return payload_; }
    const std::string& description() const noexcept { return description_; }
    const char* what() const noexcept override { return description_.c_str(); }

private:
    Kind kind_;
    std::string payload_;
    std::string description_;
};

class AnalysisError : public std::exception {
public:
    enum class Kind { emptyFile };

    explicit AnalysisError(Kind kind) : kind_(kind) {}

    Kind kind() const noexcept { return kind_; }
    std::string description() const { return emptyFileText; }
    const char* what() const noexcept override { return emptyFileText; }

private:
    static constexpr const char* emptyFileText = "Audio file contains no samples";
    Kind kind_;
};

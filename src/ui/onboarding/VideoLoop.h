#pragma once

// A short silent video played over and over: its frames decoded one after
// another with FFmpeg's libraries as 32-bit RGB pixels, the first frame
// following the last. Reads a file on disk or one of the application's
// resources (":/..."). Used on the main thread; holds one frame at a time.

#include <QString>
#include <cstdint>
#include <memory>
#include <vector>

struct VideoFrame {
    int width = 0;
    int height = 0;
    std::vector<uint32_t> pixels; // 0xffRRGGBB, row after row
    double seconds = 0.0;         // from the start of the video
};

class VideoLoop {
public:
    explicit VideoLoop(const QString& path);
    ~VideoLoop();
    VideoLoop(const VideoLoop&) = delete;
    VideoLoop& operator=(const VideoLoop&) = delete;

    // False when the video is missing or cannot be decoded; then there are
    // no frames.
    bool isOpen() const { return state_ != nullptr; }
    // Seconds each frame stays on screen.
    double frameInterval() const;
    // The next frame, after the last the first again; null when not open
    // or when decoding fails.
    const VideoFrame* next();

private:
    struct State;
    std::unique_ptr<State> state_;
    VideoFrame frame_;
};

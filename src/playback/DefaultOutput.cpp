#include "playback/DefaultOutput.h"

#include "playback/PortAudioOutput.h"
#include "playback/SilentOutput.h"

namespace {

// PortAudio first; when it cannot open a stream (no device, a device gone
// busy), the silent clock, so playback still runs and ends.
class FallbackOutput : public AudioOutput {
public:
    std::optional<int64_t> open(int64_t sampleRate, AudioCallback* callback) override {
        close();
        if (portAudio_.isAvailable()) {
            if (auto rate = portAudio_.open(sampleRate, callback)) {
                current_ = &portAudio_;
                return rate;
            }
        }
        current_ = &silent_;
        return silent_.open(sampleRate, callback);
    }
    void close() override {
        if (current_)
            current_->close();
        current_ = nullptr;
    }
    std::optional<int64_t> openRate() const override { return current_ ? current_->openRate() : std::nullopt; }
    bool isAudible() const override { return current_ != &silent_; }
    void setDevice(int deviceIndex) override { portAudio_.setDevice(deviceIndex); }

private:
    PortAudioOutput portAudio_;
    SilentOutput silent_;
    AudioOutput* current_ = nullptr;
};

} // namespace

std::unique_ptr<AudioOutput> makeDefaultAudioOutput() { return std::make_unique<FallbackOutput>(); }

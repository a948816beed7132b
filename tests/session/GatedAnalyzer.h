#pragma once

// An analysis hook for BatchSession that counts analyses in flight and holds
// each one until the test lets it go, then runs the real analysis.

#include "analysis/FileAnalysis.h"
#include "session/BatchSession.h"

#include <QSet>
#include <QString>
#include <algorithm>
#include <condition_variable>
#include <memory>
#include <mutex>

class GatedAnalyzer {
public:
    GatedAnalyzer() : shared_(std::make_shared<Shared>()) {}
    ~GatedAnalyzer() { releaseAll(); }

    BatchSession::AnalysisOptions options(int cores) const {
        return {[s = shared_](const QString& path, ChannelMix mix, std::stop_token) { return s->run(path, mix); },
                cores};
    }

    void release(const QString& path) {
        std::lock_guard lock(shared_->mutex);
        shared_->released.insert(path);
        shared_->changed.notify_all();
    }
    void releaseAll() {
        std::lock_guard lock(shared_->mutex);
        shared_->hold = false;
        shared_->changed.notify_all();
    }
    int inFlight() const { return read(&Shared::inFlight); }
    int maxInFlight() const { return read(&Shared::maxInFlight); }
    int started() const { return read(&Shared::started); }

private:
    struct Shared {
        mutable std::mutex mutex;
        std::condition_variable changed;
        QSet<QString> released;
        bool hold = true;
        int inFlight = 0;
        int maxInFlight = 0;
        int started = 0;

        FileAnalysis run(const QString& path, ChannelMix mix) {
            {
                std::unique_lock lock(mutex);
                ++started;
                maxInFlight = std::max(maxInFlight, ++inFlight);
                changed.wait(lock, [&] { return !hold || released.contains(path); });
            }
            FileAnalysis outcome = analyzeFile(path, mix);
            std::lock_guard lock(mutex);
            --inFlight;
            return outcome;
        }
    };
    std::shared_ptr<Shared> shared_;

    int read(int Shared::*count) const {
        std::lock_guard lock(shared_->mutex);
        return (*shared_).*count;
    }
};

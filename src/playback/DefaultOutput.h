#pragma once

#include "playback/AudioOutput.h"

#include <memory>

// PortAudio when it finds an output device, else a silent output that keeps
// time so playback still runs (and ends) on machines without sound.
std::unique_ptr<AudioOutput> makeDefaultAudioOutput();

// The real PortAudio backend on a real ALSA device: a "file" PCM over the
// "null" one, defined in a temporary asoundrc, so no sound hardware is needed.
// Its own program, because ALSA reads its configuration once per process.

#include "PlaybackFixtures.h"

#include "playback/AudioDeviceManager.h"
#include "playback/PortAudioOutput.h"

namespace {
QString capturePath;
}

TEST(AlsaOutputTest, PortAudioPlaysThroughAnAlsaDevice) {
    bool listed = false;
    for (const AudioDevice& device : AudioDeviceManager::outputDevices())
        listed = listed || (device.channels >= 1 && !device.name.isEmpty());
    EXPECT_TRUE(listed) << "the configured device is listed";

    QTemporaryDir dir;
    const QString path = writeStereo(dir, "a.wav", 2.0);
    auto output = std::make_unique<PortAudioOutput>();
    ASSERT_TRUE(output->isAvailable());
    AudioPlaybackEngine engine(std::move(output));
    engine.play(path, 0.0, -6.0, nullptr);
    ASSERT_TRUE(engine.output().openRate().has_value()) << "the stream opened";
    EXPECT_EQ(*engine.output().openRate(), 48000);
    // The null device takes samples as fast as they come, so silence from
    // before the reader caught up may come first; what counts is that the
    // file's sound arrives: 2 s of stereo is at least 384 000 bytes.
    const auto soundingBytes = [] {
        QFile captured(capturePath);
        if (!captured.open(QIODevice::ReadOnly))
            return qsizetype{0};
        const QByteArray bytes = captured.readAll();
        return bytes.size() - bytes.count('\0');
    };
    EXPECT_TRUE(fixtures::waitUntil([&] { return soundingBytes() > 300000; }, 10000))
        << "sound reached the device: " << soundingBytes() << " non-zero bytes";
    engine.stop();
}

int main(int argc, char** argv) {
    QTemporaryDir home;
    capturePath = home.filePath("captured.raw");
    QFile rc(home.filePath(".asoundrc"));
    if (!rc.open(QIODevice::WriteOnly))
        return 1;
    rc.write(QStringLiteral("pcm.!default {\n  type file\n  slave.pcm \"null\"\n  file \"%1\"\n  format \"raw\"\n}\n")
                 .arg(capturePath)
                 .toUtf8());
    rc.close();
    qputenv("HOME", home.path().toUtf8());
    QCoreApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}

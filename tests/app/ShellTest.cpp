#include "app/SingleInstance.h"
#include "app/SonivelApp.h"
#include "support/AudioFixtures.h"
#include "support/EventLoop.h"

#include <QProcess>
#include <QSettings>
#include <QSplitter>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

TEST(SingleInstanceTest, LaterStartsHandTheirFilesToTheOpenWindow) {
    QTemporaryDir runtime, config;
    qputenv("XDG_RUNTIME_DIR", QFile::encodeName(runtime.path()));
    qputenv("XDG_STATE_HOME", QFile::encodeName(runtime.path())); // where the working list is kept
    QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, config.path());
    QCoreApplication::setOrganizationName("SonivelInstanceTest");
    QSettings().setValue("hasSeenOnboarding", true);

    // What a killed window leaves: a socket file nobody listens on.
    const QByteArray path = QFile::encodeName(SingleInstance::socketPath());
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, path.constData(), static_cast<size_t>(path.size()));
    const int stale = ::socket(AF_UNIX, SOCK_STREAM, 0);
    ASSERT_EQ(::bind(stale, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    ::close(stale);
    EXPECT_FALSE(SingleInstance::handOver({LaunchRequest::Then::nothing, {"x.wav"}}, 200)) << "nobody answers there";

    SonivelApp first;
    first.start({});
    const QString song = fixtures::writeTone(runtime, "song.wav", 1.0, 0.3);

    QProcess second;
    second.setWorkingDirectory(runtime.path());
    second.start(SONIVEL_BINARY, {"song.wav"}); // relative to its own folder
    ASSERT_TRUE(fixtures::waitUntil([&] { return second.state() == QProcess::NotRunning; }, 10000));
    EXPECT_EQ(second.exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(second.exitCode(), 0) << second.readAllStandardError().toStdString();
    ASSERT_EQ(first.session().files().size(), 1u) << "the open window has the file";
    EXPECT_EQ(first.session().files()[0]->url().toLocalFile(), song);

    // "Export with last settings": the open window takes the file (listed
    // already) and, once all is measured, exports the list into the last folder.
    QSettings().setValue("folders/export", runtime.path());
    second.start(SONIVEL_BINARY, {"--export-with-last-settings", "song.wav"});
    ASSERT_TRUE(fixtures::waitUntil([&] { return second.state() == QProcess::NotRunning; }, 10000));
    const QString exported = runtime.filePath("normalized/song (-16LUFS).wav");
    EXPECT_TRUE(fixtures::waitUntil([&] { return QFileInfo::exists(exported); }, 20000));
    qunsetenv("XDG_RUNTIME_DIR");
    qunsetenv("XDG_STATE_HOME");
}

TEST(RememberedChoicesTest, ChoicesComeBackAndNonsenseFallsBack) {
    QTemporaryDir config;
    QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, config.path());
    QCoreApplication::setOrganizationName("SonivelChoicesTest");
    QSettings().setValue("hasSeenOnboarding", true);
    {
        SonivelApp run;
        run.start({}, false);
        run.session().setPreset(TargetPreset::amazon);
        run.session().setChannelMix(ChannelMix::average);
        run.window().exportSession().setFormat(ExportFormat::flac);
        run.window().exportSession().setSampleRate(SampleRate::rate96000);
        run.window().exportSession().setSkipUpToDate(true);
        run.window().setGeometry(40, 30, 1000, 650);
        run.window().findChild<QSplitter*>("tableAndWaveform")->setSizes({300, 200});
        run.window().close();
    }
    {
        SonivelApp next;
        next.start({}, false);
        EXPECT_EQ(next.session().currentAim().values, (TargetValues{-14.0, NormalizeBy::integrated, -2.0}));
        EXPECT_EQ(next.session().preset(), TargetPreset::amazon);
        EXPECT_EQ(next.session().channelMix(), ChannelMix::average);
        EXPECT_EQ(next.window().exportSession().choices(),
                  (ExportChoices{ExportFormat::flac, SampleRate::rate96000, true}));
        EXPECT_EQ(next.window().size(), QSize(1000, 650));
        const QList<int> sizes = next.window().findChild<QSplitter*>("tableAndWaveform")->sizes();
        EXPECT_GT(sizes[0], sizes[1]) << "the split as it was left";
    }
    QSettings settings;
    settings.setValue("choices/targetLUFS", 12.0);
    settings.setValue("choices/exportFormat", "ogg");
    settings.setValue("choices/exportSampleRate", 22050);
    settings.setValue("choices/skipUpToDate", "maybe");
    settings.setValue("choices/normalizeBy", "x");
    settings.setValue("choices/preset", "radio");
    settings.setValue("window/geometry", QByteArray("garbage"));
    settings.sync();
    SonivelApp odd;
    odd.start({}, false);
    EXPECT_EQ(odd.session().targetLUFS(), BatchSession::defaultTargetLUFS);
    EXPECT_EQ(odd.session().normalizeBy(), NormalizeBy::loudest);
    EXPECT_EQ(odd.session().preset(), TargetPreset::custom);
    EXPECT_EQ(odd.window().exportSession().choices(), ExportChoices{});
    EXPECT_EQ(odd.window().size(), QSize(1200, 700));
}

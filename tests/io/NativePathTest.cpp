#include "io/NativePath.h"

#include "io/AudioReader.h"
#include "io/RegularFile.h"
#include "support/AudioFixtures.h"
#include "support/QtPrinters.h"

#include <cstdio>

TEST(NativePathTest, EveryByteOfANameSurvivesAndOpens) {
    // Latin-1, overlong, an encoded surrogate, a cut sequence, then valid
    // UTF-8, which decodes as Qt decodes it.
    for (const QByteArray& bytes : {QByteArray("bad\xff\xfe.wav"), QByteArray("\xc0\xaf"), QByteArray("\xed\xa0\x80"),
                                    QByteArray("x\xe2\x82"), QByteArray("caf\xc3\xa9 \xf0\x9f\x8e\xb5.flac")}) {
        const QString path = NativePath::decode(bytes);
        EXPECT_EQ(NativePath::encode(path), bytes);
        EXPECT_EQ(NativePath::fromUrl(NativePath::toUrl("/m/" + path)), "/m/" + path);
    }
    EXPECT_EQ(NativePath::decode("caf\xc3\xa9"), QString::fromUtf8("caf\xc3\xa9"));
    EXPECT_EQ(NativePath::shown(NativePath::decode("bad\xff.wav")), QString::fromUtf8("bad\xef\xbf\xbd.wav"));
    // A file manager's drop percent-encodes the bytes.
    EXPECT_EQ(NativePath::encode(NativePath::fromUrl(QUrl::fromEncoded("file:///m/bad%FF%FE.wav"))),
              QByteArray("/m/bad\xff\xfe.wav"));

    QTemporaryDir dir;
    const QString path = dir.path() + "/" + NativePath::decode("bad\xff\xfe.wav");
    fixtures::writeMonoWav(dir.filePath("plain.wav"), {0.5f, -0.5f}, 48000);
    ASSERT_EQ(std::rename(QFile::encodeName(dir.filePath("plain.wav")).constData(), NativePath::encode(path)), 0);
    EXPECT_FALSE(QFileInfo::exists(path)) << "Qt's own conversion loses the name";
    EXPECT_TRUE(NativePath::exists(path));
    EXPECT_EQ(NativePath::canonical(path), path);
    EXPECT_EQ(RegularFile::problem(path), std::nullopt);
    EXPECT_EQ(RegularFile::problem(path + "/x.wav"), "Not a directory") << "the system's own reason";
    EXPECT_EQ(AudioReader(path).frames(), 2);
}

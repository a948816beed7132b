// Renders each widget with a realistic file into PNG files, for a person to
// look at: ui_screenshots [OUTPUT_DIR]

#include "UiFixtures.h"
#include "ui/WaveformView.h"

#include <QApplication>
#include <QDir>
#include <cstdio>

int main(int argc, char** argv) {
    QApplication app(argc, argv);
    const QString out = argc > 1 ? QString::fromLocal8Bit(argv[1]) : QStringLiteral("screenshots");
    QDir().mkpath(out);
    const auto item = analysedItem("Song.wav", musicLike(180.0));

    WaveformView view;
    view.resize(1200, 360);
    view.setFile(item);
    view.setPlayheadTime(item->analysis()->windowStart + 5.0);
    view.grab().save(QDir(out).filePath("waveform.png"));

    item->segmentEdits().addSeparator(60.0);
    item->segmentEdits().addSeparator(100.0);
    item->segmentEdits().setSegmentGain(1, 9.0);
    item->segmentEdits().setFadeDuration(item->segmentEdits().separators()[0].id, 5000);
    item->setIsEditMode(true);
    view.setOnToggleEditMode([&] { item->setIsEditMode(!item->isEditMode()); });
    view.grab().save(QDir(out).filePath("waveform-edit-mode.png"));

    std::printf("wrote %s\n", qPrintable(QDir(out).absolutePath()));
    return 0;
}

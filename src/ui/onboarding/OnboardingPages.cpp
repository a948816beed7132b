#include "ui/onboarding/OnboardingPages.h"

#include "ui/Icons.h"
#include "ui/PaintKit.h"
#include "ui/onboarding/LoopingVideoView.h"
#include "ui/onboarding/SimpleModeAnimation.h"

#include <QApplication>
#include <QGraphicsDropShadowEffect>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QPainter>
#include <QPainterPath>
#include <QVBoxLayout>

namespace OnboardingPages {

namespace {

QColor accent(const QWidget* w) { return w->palette().color(QPalette::Highlight); }

QLabel* text(const QString& content, int pixelSize, QFont::Weight weight = QFont::Normal, bool dim = false) {
    auto* label = new QLabel(content);
    QFont font = label->font();
    font.setPixelSize(pixelSize);
    font.setWeight(weight);
    label->setFont(font);
    label->setAlignment(Qt::AlignCenter);
    if (dim)
        label->setStyleSheet(PaintKit::secondaryTextStyle(label->palette()));
    return label;
}

// A page with its title and subtitle at the top.
QVBoxLayout* titled(QWidget* page, const QString& title, const QString& subtitle) {
    auto* column = new QVBoxLayout(page);
    column->setContentsMargins(32, 24, 32, 12);
    column->setSpacing(10);
    column->addWidget(text(title, 20, QFont::Bold));
    column->addWidget(text(subtitle, 13, QFont::Normal, true));
    return column;
}

// A titled page that shows the bundled video `video` below its subtitle.
QVBoxLayout* withVideo(QWidget* page, const QString& title, const QString& subtitle, const QString& video) {
    QVBoxLayout* column = titled(page, title, subtitle);
    auto* view = new LoopingVideoView(video, QStringLiteral("mp4"));
    view->setFixedHeight(240);
    column->addWidget(view);
    return column;
}

// A white bold number on an accent-coloured circle, 20 points across.
QLabel* numberBadge(int n, const QColor& colour) {
    QPixmap badge = Icons::canvas(20);
    QPainter p(&badge);
    p.setRenderHint(QPainter::Antialiasing, true);
    p.setPen(Qt::NoPen);
    p.setBrush(colour);
    p.drawEllipse(QRectF(0, 0, 20, 20));
    QFont font = p.font();
    font.setPixelSize(11);
    font.setBold(true);
    p.setFont(font);
    p.setPen(Qt::white);
    p.drawText(QRectF(0, 0, 20, 20), Qt::AlignCenter, QString::number(n));
    p.end();
    auto* label = new QLabel;
    label->setPixmap(badge);
    label->setFixedSize(20, 20);
    return label;
}

QWidget* welcomePage() {
    auto* page = new QWidget;
    auto* column = new QVBoxLayout(page);
    column->addStretch();
    column->addWidget(Icons::appIconLabel(96, 22, 10, 5));
    column->addSpacing(16);
    column->addWidget(text(QStringLiteral("Welcome to Sonivel"), 24, QFont::Bold));
    column->addSpacing(6);
    QLabel* body =
        text(QStringLiteral("Analyze and normalize audio loudness\nfor consistent playback across your files."), 14,
             QFont::Normal, true);
    body->setTextFormat(Qt::PlainText);
    column->addWidget(body);
    column->addStretch();
    return page;
}

QWidget* loudnessCheckPage() {
    auto* page = new QWidget;
    QVBoxLayout* column =
        withVideo(page, QStringLiteral("Fast Loudness Check"),
                  QStringLiteral("Compare loudness between songs while listening"), QStringLiteral("demoFastCheck"));
    auto* steps = new QGridLayout;
    steps->setHorizontalSpacing(8);
    steps->setVerticalSpacing(6);
    const QStringList texts = {
        QStringLiteral("Add multiple files and press Play"),
        QStringLiteral("Click different songs in the list — playback jumps instantly to loudest part"),
        QStringLiteral("Each song plays with its correction applied, so you hear the normalized result"),
        QStringLiteral("Adjust target LUFS or per-file correction while listening"),
    };
    for (int i = 0; i < texts.size(); ++i) {
        steps->addWidget(numberBadge(i + 1, accent(page)), i, 0);
        QLabel* line = text(texts[i], 12);
        line->setAlignment(Qt::AlignLeft | Qt::AlignVCenter);
        steps->addWidget(line, i, 1);
    }
    steps->setColumnStretch(1, 1);
    column->addLayout(steps);
    column->addStretch();
    return page;
}

QWidget* stepCard(const QString& symbol, const QString& title, const QString& description, const QColor& tint) {
    auto* card = new QFrame;
    card->setFrameShape(QFrame::StyledPanel);
    auto* column = new QVBoxLayout(card);
    column->setSpacing(4);
    auto* icon = new QLabel;
    icon->setPixmap(Icons::tintedForScreen(symbol, tint, 24));
    icon->setAlignment(Qt::AlignCenter);
    column->addWidget(icon);
    column->addWidget(text(title, 13, QFont::DemiBold));
    column->addWidget(text(description, 11, QFont::Normal, true));
    return card;
}

QWidget* simpleModePage() {
    auto* page = new QWidget;
    QVBoxLayout* column =
        titled(page, QStringLiteral("Simple Mode"), QStringLiteral("Three steps to normalized audio"));
    column->addWidget(new SimpleModeAnimation);
    auto* cards = new QHBoxLayout;
    cards->setSpacing(12);
    cards->addWidget(stepCard(QStringLiteral("document-drop-filled"), QStringLiteral("Drop Files"),
                              QStringLiteral("Drag audio files\nonto the app"), accent(page)));
    cards->addWidget(stepCard(QStringLiteral("target"), QStringLiteral("Set Target"),
                              QStringLiteral("Choose target\nLUFS value"), accent(page)));
    cards->addWidget(stepCard(QStringLiteral("document-export"), QStringLiteral("Export"),
                              QStringLiteral("Export normalized\naudio files"), accent(page)));
    column->addLayout(cards);
    column->addStretch();
    return page;
}

QWidget* editModePage() {
    auto* page = new QWidget;
    QVBoxLayout* column = withVideo(page, QStringLiteral("Manual Edit Mode"),
                                    QStringLiteral("Fine-tune loudness per segment for precise control"),
                                    QStringLiteral("manualEditDemo"));
    auto* legend = new QGridLayout;
    legend->setHorizontalSpacing(10);
    legend->setVerticalSpacing(6);
    const QList<std::pair<QString, QString>> pairs = {
        {QStringLiteral("Ctrl+Click"), QStringLiteral("Add separator")},
        {QStringLiteral("Drag ↕"), QStringLiteral("Adjust gain")},
        {QStringLiteral("Drag ◣"), QStringLiteral("Set fade")},
        {QStringLiteral("Alt+Click"), QStringLiteral("Remove")},
    };
    for (int i = 0; i < pairs.size(); ++i) {
        QLabel* key = text(pairs[i].first, 11, QFont::Bold);
        key->setStyleSheet(QStringLiteral("color: %1").arg(accent(page).name()));
        key->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
        QLabel* action = text(pairs[i].second, 11);
        action->setAlignment(Qt::AlignLeft | Qt::AlignVCenter);
        legend->addWidget(key, i / 2, (i % 2) * 2 + 1);
        legend->addWidget(action, i / 2, (i % 2) * 2 + 2);
    }
    legend->setColumnMinimumWidth(3, 110);
    legend->setColumnStretch(0, 1); // the pairs stay together in the middle
    legend->setColumnStretch(5, 1);
    column->addLayout(legend);
    column->addStretch();
    return page;
}

QWidget* getStartedPage() {
    auto* page = new QWidget;
    auto* column = new QVBoxLayout(page);
    column->addStretch();
    const QColor green(52, 199, 89);
    QPixmap mark = Icons::canvas(80);
    {
        QPainter p(&mark);
        p.setRenderHint(QPainter::Antialiasing, true);
        QColor halo = green;
        halo.setAlphaF(0.12f);
        p.setPen(Qt::NoPen);
        p.setBrush(halo);
        p.drawEllipse(QRectF(0, 0, 80, 80));
        p.drawPixmap(QPointF(18, 18), Icons::tintedForScreen(QStringLiteral("emblem-ok"), green, 44));
    }
    auto* icon = new QLabel;
    icon->setPixmap(mark);
    icon->setAlignment(Qt::AlignCenter);
    column->addWidget(icon);
    column->addSpacing(12);
    column->addWidget(text(QStringLiteral("You're All Set!"), 24, QFont::Bold));
    column->addSpacing(6);
    column->addWidget(text(QStringLiteral("Drop audio files onto the app to get started.\n"
                                          "Use the Edit button on the waveform for manual adjustments."),
                           14, QFont::Normal, true));
    column->addStretch();
    return page;
}

} // namespace

QWidget* make(int index) {
    switch (index) {
    case 0: return welcomePage();
    case 1: return loudnessCheckPage();
    case 2: return simpleModePage();
    case 3: return editModePage();
    default: return getStartedPage();
    }
}

} // namespace OnboardingPages

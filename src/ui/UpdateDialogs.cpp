#include "ui/UpdateDialogs.h"

#include "ui/Icons.h"

#include <QDesktopServices>
#include <QDialog>
#include <QDialogButtonBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QMessageBox>
#include <QPushButton>
#include <QRegularExpression>
#include <QTextBrowser>
#include <QVBoxLayout>

namespace UpdateDialogs {

namespace {

// Release notes as text and simple markup only: images, style sheets and
// anything else they would fetch stay unloaded, and links are not followed
// inside the dialog.
class NotesView : public QTextBrowser {
public:
    using QTextBrowser::QTextBrowser;
    QVariant loadResource(int, const QUrl&) override { return QVariant(); }
};

// The application icon beside a bold headline and a line of text.
QDialog* titled(QWidget* parent, const QString& windowTitle, const QString& headline, const QString& text,
                QVBoxLayout*& column) {
    auto* dialog = new QDialog(parent);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setWindowTitle(windowTitle);
    dialog->setWindowModality(Qt::WindowModal);
    auto* row = new QHBoxLayout(dialog);
    row->setContentsMargins(20, 20, 20, 16);
    row->setSpacing(16);
    QLabel* icon = Icons::appIconLabel(64, 14, 6, 2);
    row->addWidget(icon, 0, Qt::AlignTop);
    column = new QVBoxLayout;
    column->setSpacing(8);
    auto* title = new QLabel(headline);
    title->setObjectName(QStringLiteral("headline"));
    QFont bold = title->font();
    bold.setBold(true);
    bold.setPixelSize(15);
    title->setFont(bold);
    auto* body = new QLabel(text);
    body->setObjectName(QStringLiteral("text"));
    body->setWordWrap(true);
    body->setTextFormat(Qt::PlainText);
    column->addWidget(title);
    column->addWidget(body);
    row->addLayout(column, 1);
    return dialog;
}

// A headline, a line and OK.
QDialog* notice(QWidget* parent, const QString& headline, const QString& text) {
    QVBoxLayout* column = nullptr;
    QDialog* dialog = titled(parent, QStringLiteral("Software Update"), headline, text, column);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok);
    QObject::connect(buttons, &QDialogButtonBox::accepted, dialog, &QDialog::accept);
    column->addWidget(buttons);
    dialog->setFixedWidth(440);
    return dialog;
}

} // namespace

QDialog* upToDate(QWidget* parent, const QString& installedVersion) {
    return notice(parent, QStringLiteral("You're up to date!"),
                  QStringLiteral("Sonivel %1 is currently the newest version available.").arg(installedVersion));
}

QDialog* failure(QWidget* parent, const QString& error) {
    return notice(parent, QStringLiteral("Update Error!"),
                  QStringLiteral("Sonivel could not check for updates. %1").arg(error));
}

QDialog* offer(QWidget* parent, const Offer& offer) {
    QVBoxLayout* column = nullptr;
    QDialog* dialog =
        titled(parent, QStringLiteral("Software Update"), QStringLiteral("A new version of Sonivel is available!"),
               QStringLiteral("Sonivel %1 is now available — you have %2. Would you like to download it now?")
                   .arg(offer.offeredVersion, offer.installedVersion),
               column);
    auto* notesTitle = new QLabel(QStringLiteral("Release Notes:"));
    QFont bold = notesTitle->font();
    bold.setBold(true);
    notesTitle->setFont(bold);
    column->addWidget(notesTitle);
    auto* notes = new NotesView;
    notes->setObjectName(QStringLiteral("notes"));
    notes->setOpenLinks(false);
    QString html = offer.releaseNotes;
    if (!Qt::mightBeRichText(html))
        html = Qt::convertFromPlainText(html);
    html.remove(QRegularExpression(QStringLiteral("<img\\b[^>]*>"), QRegularExpression::CaseInsensitiveOption));
    if (offer.releaseNotesLink.isValid())
        html += QStringLiteral("<p><a href=\"%1\">Full release notes</a></p>")
                    .arg(offer.releaseNotesLink.toString(QUrl::FullyEncoded).toHtmlEscaped());
    notes->setHtml(html);
    QObject::connect(notes, &QTextBrowser::anchorClicked, notes, [](const QUrl& url) {
        if (url.scheme() == QLatin1String("https") || url.scheme() == QLatin1String("http"))
            QDesktopServices::openUrl(url);
    });
    notes->setMinimumHeight(180);
    column->addWidget(notes, 1);
    auto* buttons = new QDialogButtonBox;
    QPushButton* download = buttons->addButton(QStringLiteral("Download Update"), QDialogButtonBox::AcceptRole);
    download->setObjectName(QStringLiteral("download"));
    download->setDefault(true);
    download->setEnabled(offer.downloadPage.isValid());
    buttons->addButton(QStringLiteral("Remind Me Later"), QDialogButtonBox::RejectRole);
    const QUrl page = offer.downloadPage;
    QObject::connect(buttons, &QDialogButtonBox::accepted, dialog, [dialog, page] {
        QDesktopServices::openUrl(page); // the browser downloads; nothing is run here
        dialog->accept();
    });
    QObject::connect(buttons, &QDialogButtonBox::rejected, dialog, &QDialog::reject);
    column->addWidget(buttons);
    dialog->resize(560, 400);
    return dialog;
}

bool askAboutAutomaticChecks(QWidget* parent) {
    QMessageBox box(parent);
    box.setWindowTitle(QStringLiteral("Software Update"));
    box.setText(QStringLiteral("Check for updates automatically?"));
    box.setInformativeText(QStringLiteral("Should Sonivel look for a newer version once a day? "
                                          "You can always check from the Help menu."));
    QPushButton* yes = box.addButton(QStringLiteral("Check Automatically"), QMessageBox::AcceptRole);
    box.addButton(QStringLiteral("Don't Check"), QMessageBox::RejectRole);
    box.setDefaultButton(yes);
    box.exec();
    return box.clickedButton() == yes;
}

} // namespace UpdateDialogs

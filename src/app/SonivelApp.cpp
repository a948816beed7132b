#include "app/SonivelApp.h"

#include "Version.h"
#include "app/RememberedChoices.h"
#include "ui/BatchView.h"
#include "ui/ExportControlsView.h"
#include "ui/ListRecovery.h"
#include "ui/UpdateDialogs.h"

#include <QDialog>
#include <QTimer>

SonivelApp::SonivelApp()
    : updaterManager_(AppVersion{QStringLiteral(SONIVEL_VERSION), QStringLiteral(SONIVEL_BUILD_NUMBER)}),
      window_(session_), checkForUpdates_(QStringLiteral("Check for Updates...")),
      clearCache_(QStringLiteral("Clear analysis cache")) {
    checkForUpdates_.setEnabled(updaterManager_.canCheckForUpdates());
    if (UpdaterManager::configuredFeedURL().isEmpty())
        checkForUpdates_.setToolTip(QStringLiteral("No update feed is configured for this installation."));
    QObject::connect(&updaterManager_, &UpdaterManager::canCheckForUpdatesChanged, &checkForUpdates_,
                     &QAction::setEnabled);
    QObject::connect(&checkForUpdates_, &QAction::triggered, &updaterManager_, &UpdaterManager::checkForUpdates);
    QObject::connect(&updaterManager_, &UpdaterManager::checkFinished, &window_,
                     [this](const UpdateCheck& result) { showCheckResult(result); });
    window_.addCommandAfterAbout(&checkForUpdates_);
    clearCache_.setStatusTip(QStringLiteral("Forget the kept measurements: files are measured again when next added."));
    QObject::connect(&clearCache_, &QAction::triggered, &window_, [this] {
        window_.batch()->statusLine().show(cache_.clear() ? QStringLiteral("Analysis cache cleared.")
                                                          : QStringLiteral("The analysis cache could not be cleared."));
    });
    window_.addFileCommand(tagging_.action());
    window_.addFileCommand(&clearCache_);
}

void SonivelApp::showCheckResult(const UpdateCheck& result) {
    QDialog* dialog = nullptr;
    if (!result.ok()) {
        dialog = UpdateDialogs::failure(&window_, result.error().message);
    } else if (const auto& newer = result.value().newer) {
        const QString installed = Appcast::displayVersion(result.value().installed);
        dialog = UpdateDialogs::offer(&window_, {Appcast::displayVersion(newer->version), installed,
                                                 newer->releaseNotes, newer->releaseNotesLink, newer->downloadPage});
    } else {
        dialog = UpdateDialogs::upToDate(&window_, Appcast::displayVersion(result.value().installed));
    }
    dialog->open();
}

void SonivelApp::start(const LaunchRequest& request, bool interactive) {
    RememberedChoices::restore(session_, window_);
    RememberedChoices::keep(session_, window_);
    if (interactive && instanceServer_.listen())
        QObject::connect(&instanceServer_, &InstanceServer::requestArrived, &window_,
                         [this](const LaunchRequest& more) {
                             perform(more);
                             window_.setWindowState((window_.windowState() & ~Qt::WindowMinimized) | Qt::WindowActive);
                             window_.raise();
                             window_.activateWindow();
                         });
    window_.show();
    if (interactive) {
        window_.keepListAt(ListRecovery::defaultPath());
        window_.showOnFirstLaunch();
        // Once the window is up: the question about automatic checks (second
        // launch only) and a check when one is due.
        QTimer::singleShot(0, &window_, [this] {
            updaterManager_.startUp([this] { return UpdateDialogs::askAboutAutomaticChecks(&window_); });
        });
    }
    perform(request);
}

void SonivelApp::perform(const LaunchRequest& request) {
    BatchView& batch = *window_.batch();
    batch.addPaths(request.files);
    if (request.then == LaunchRequest::Then::nothing)
        return;
    // Once the window is up, so that the chooser and the export's questions
    // open over it.
    QTimer::singleShot(0, &window_, [this, request, &batch] {
        if (request.files.isEmpty())
            batch.addFiles();
        if (request.then == LaunchRequest::Then::exportWithLastSettings && !session_.files().empty())
            batch.exportControls().exportWithLastSettings();
    });
}

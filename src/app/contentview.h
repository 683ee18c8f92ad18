#pragma once

#include "overlay.h"
#include "settings/settingswindow.h"
#include "windowdelegate.h"

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <QCoroTask>
#include <QObject>
#include <QQmlEngine>

class ImageDiskWatcher;
class Preferences;
class SDManager;
struct Desktop;
struct OpenedMovie;

/// The root of the main window: owns the application's state for the whole run, brings the tools up, turns
/// the coming and going of a card into a card session, and says what the overlay shows. Main thread.
class ContentView : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("made at the start of the program")
    Q_PROPERTY(AppViewModel *viewModel READ viewModel CONSTANT FINAL)
    Q_PROPERTY(WindowDelegate *windowDelegate READ windowDelegate CONSTANT FINAL)
    Q_PROPERTY(SettingsWindow *settingsWindow READ settingsWindow CONSTANT FINAL)
    Q_PROPERTY(QString title READ title CONSTANT FINAL)
    Q_PROPERTY(Overlay overlay READ overlay NOTIFY overlayChanged FINAL)

public:
    /// exit ends the event loop; it may be called again. What is passed outlives this object.
    ContentView(Desktop &desktop, std::function<QCoro::Task<OpenedMovie>(QString)> openMovie,
                Preferences &preferences, std::function<void()> exit, QObject *parent = nullptr);
    ~ContentView() override;

    [[nodiscard]] AppViewModel *viewModel() const { return m_viewModel.get(); }
    [[nodiscard]] SDManager *sdManager() const { return m_sdManager.get(); }
    [[nodiscard]] WindowDelegate *windowDelegate() { return &m_windowDelegate; }
    [[nodiscard]] SettingsWindow *settingsWindow() { return &m_settingsWindow; }
    [[nodiscard]] QString title() const; ///< of the main window, with the version
    [[nodiscard]] const Overlay &overlay() const { return m_overlay; }
    [[nodiscard]] bool isInitialized() const { return m_isInitialized; }

    /// Gives the window its first size and place, hands it to the delegate and shows it.
    void showWindow(QWindow *window);
    /// Starts the set-up of the tools, and after it the card detection. Once.
    void appear();
    /// Ends the program: the window goes at once, then the tools, then what was extracted. What can't be
    /// deleted within this time is left to the next start.
    void quit(std::chrono::milliseconds patience);
    /// Shows a card image in the place of the card that is in.
    void openCardImage(const QString &path);

    Q_INVOKABLE void overlayButtonPressed();

Q_SIGNALS:
    void overlayChanged();
    void ending(); ///< the program

private:
    QCoro::Task<> setUp();
    QCoro::Task<> cleanUp();
    void onDetectedDiskChanged();
    void cardAttached();
    void cardDetached();
    void mainWindowWillClose();
    void updateOverlay();

    // Released in the opposite order: the card detection goes first, the state last.
    std::unique_ptr<AppViewModel> m_viewModel;
    std::unique_ptr<ImageDiskWatcher> m_image; ///< of a card image that was opened on the way
    std::unique_ptr<SDManager> m_sdManager;
    SettingsWindow m_settingsWindow;
    WindowDelegate m_windowDelegate;
    std::function<void()> m_exit;
    QString m_cardPath; ///< the last detected disk that was acted on; empty for none
    Overlay m_overlay;
    bool m_isInitialized = false;
    bool m_isEnding = false;
};

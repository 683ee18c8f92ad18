#pragma once

#include <QGuiApplication>

/// Tells the end of the desktop's session from a quit that its user asked for. The session announces its end
/// to all programs, and any of them may still object; those that are then told to quit can ask nobody.
class Application : public QGuiApplication
{
    Q_OBJECT
public:
    Application(int &argc, char **argv);
    void sessionWillEnd() { m_isSessionEnding = true; }

Q_SIGNALS:
    void sessionEnded();

protected:
    bool event(QEvent *event) override;

private:
    bool m_isSessionEnding = false;
};

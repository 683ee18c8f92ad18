#include "application.h"

#include <QEvent>
#include <QSessionManager>

Application::Application(int &argc, char **argv)
    : QGuiApplication(argc, argv)
{
    connect(this, &QGuiApplication::commitDataRequest, this, &Application::sessionWillEnd,
            Qt::DirectConnection);
}

bool Application::event(QEvent *event)
{
    if (event->type() != QEvent::Quit || !m_isSessionEnding)
        return QGuiApplication::event(event);
    Q_EMIT sessionEnded();
    return true;
}

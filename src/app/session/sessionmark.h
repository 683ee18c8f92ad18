#pragma once

#include "app/state/appstate.h"

#include <QPointer>

/// Made before a task gives the thread up; afterwards it says whether all is still there that the task
/// belongs to: the object that it runs in, and the card.
class SessionMark
{
public:
    SessionMark(const QObject *owner, const AppState &state)
        : m_owner(owner)
        , m_state(state)
        , m_session(state.cardSession())
    {
    }
    [[nodiscard]] bool isCurrent() const { return m_owner && m_state.cardSession() == m_session; }
    [[nodiscard]] bool isCardGone() const { return m_owner && m_state.cardSession() != m_session; }

private:
    QPointer<const QObject> m_owner;
    const AppState &m_state; // outlives the owner
    quint64 m_session;
};

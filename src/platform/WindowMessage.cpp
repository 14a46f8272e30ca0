#include "WindowMessage.h"

#include <QCoreApplication>

#include <cstring>

WindowMessage::WindowMessage(quint32 msg_, quintptr wParam_, qintptr lParam_)
    : QEvent(eventType())
    , msg(msg_)
    , wParam(wParam_)
    , lParam(lParam_)
{
}

QEvent::Type WindowMessage::eventType()
{
    static const auto type = QEvent::Type(QEvent::registerEventType());
    return type;
}

void completeLookup(QObject* hWnd, quint32 wMsg, qint32 handle, char* buf, int buflen, const QByteArray& entry,
                    quint16 error, quint16 length)
{
    if (!hWnd)
        return;
    if (buf && buflen > 0)
        std::memcpy(buf, entry.constData(), size_t(qMin<qsizetype>(buflen, entry.size())));
    WindowMessage message(wMsg, quintptr(handle), makeAsyncLParam(length, error));
    QCoreApplication::sendEvent(hWnd, &message);
}

namespace {

class WindowMessageFilter final : public QObject {
public:
    WindowMessageFilter(QObject* window, std::function<void(const WindowMessage&)> handler)
        : QObject(window)
        , m_handler(std::move(handler))
    {
        window->installEventFilter(this);
    }

protected:
    bool eventFilter(QObject*, QEvent* event) override
    {
        if (event->type() != WindowMessage::eventType())
            return false;
        m_handler(*static_cast<WindowMessage*>(event));
        return true;
    }

private:
    std::function<void(const WindowMessage&)> m_handler;
};

} // namespace

void onWindowMessage(QObject* window, std::function<void(const WindowMessage&)> handler)
{
    new WindowMessageFilter(window, std::move(handler));
}

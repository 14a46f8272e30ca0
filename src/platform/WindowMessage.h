#pragma once
#include <QEvent>
#include <QObject>

#include <functional>

// A message sent to a window object, as the platform's background lookups notify their
// caller: message number and its two parameters.
class WindowMessage final : public QEvent {
public:
    WindowMessage(quint32 msg, quintptr wParam, qintptr lParam);
    static QEvent::Type eventType();

    quint32 msg;
    quintptr wParam;
    qintptr lParam;
};

// The number of the left-button-up message, which lookups are asked to complete with.
inline constexpr quint32 WM_LBUTTONUP = 0x0202;

// The second parameter of a lookup's completion: error number high, length low.
inline qintptr makeAsyncLParam(quint16 length, quint16 error)
{
    return qintptr(quint32(error) << 16 | length);
}

// Ends a background lookup on the UI thread: copies the request's entry into the
// caller's buffer, then sends the message to the window. Does nothing when the window
// is gone (the buffer belongs to it and may be gone too).
void completeLookup(QObject* hWnd, quint32 wMsg, qint32 handle, char* buf, int buflen, const QByteArray& entry,
                    quint16 error, quint16 length);

// Calls `handler` for every window message sent to `window`, for the window's lifetime.
void onWindowMessage(QObject* window, std::function<void(const WindowMessage&)> handler);

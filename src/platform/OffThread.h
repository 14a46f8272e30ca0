#pragma once
#include <QMetaObject>
#include <QObject>

#include <functional>
#include <memory>
#include <mutex>
#include <system_error>
#include <thread>

// Runs blocking resolver work off the UI thread and hands its result to `deliver` on the
// thread of `context` through a queued call, never after `context` is destroyed.
// Each job gets a detached thread of its own: a pool would let lookups stuck in the resolver
// hold up later ones, and would wait them out when destroyed, delaying the program's exit.
// When no thread can be made, `deliver` gets `fallback`, still queued.
template <typename Result>
void runOffThread(QObject* context, std::function<Result()> work, std::function<void(Result)> deliver,
                  Result fallback)
{
    struct Relay {
        std::mutex mutex;
        QObject* context;
        QMetaObject::Connection watch;

        void post(std::function<void()> call)
        {
            // Under the lock the context cannot go between the check and the post; a call
            // posted to a context destroyed later is dropped with its pending events.
            const std::lock_guard lock(mutex);
            if (context) {
                QMetaObject::invokeMethod(context, std::move(call), Qt::QueuedConnection);
                QObject::disconnect(watch);
            }
        }
    };
    auto relay = std::make_shared<Relay>();
    relay->context = context;
    relay->watch = QObject::connect(context, &QObject::destroyed, [relay] {
        const std::lock_guard lock(relay->mutex);
        relay->context = nullptr;
    });
    try {
        std::thread([relay, work = std::move(work), deliver] {
            relay->post([deliver, result = work()] { deliver(result); });
        }).detach();
    } catch (const std::system_error&) {
        relay->post([deliver, fallback = std::move(fallback)] { deliver(fallback); });
    }
}

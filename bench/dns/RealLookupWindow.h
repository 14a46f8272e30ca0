#pragma once
// The main window on the real resolver, every other adapter fake, as the lookup benchmark
// drives it.
#include "FormHarness.h"
#include "app/MultiLineTextBox.h"
#include "platform/SystemResolver.h"
#include "platform/WindowMessage.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QLineEdit>
#include <QPushButton>
#include <QTabWidget>

#include <memory>

class RealLookupWindow {
public:
    RealLookupWindow()
    {
        form->SSTab1->setCurrentIndex(2);
        m_counter = std::make_unique<CompletionCounter>(this);
        form->ReceiveWindow->installEventFilter(m_counter.get());
    }

    // Types the host into the page and presses Lookup; returns the request's handle.
    qint32 click(const QString& host)
    {
        form->DNSHost->setText(host);
        form->DoLookup->click();
        return form->AsyncHandle;
    }

    // Runs the event loop until `n` completions in all have reached the window, or `ms` pass.
    bool waitForCompletions(int n, int ms)
    {
        const QDeadlineTimer deadline(ms);
        while (completions < n && !deadline.hasExpired())
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 5);
        return completions >= n;
    }

    QString box() const { return form->HostResponse->text(); }

    SystemResolver resolver;
    FormHarness harness{{.adjust = [this](Platform& p) { p.resolver = &resolver; }}};
    std::unique_ptr<Form1>& form = harness.form;
    int completions = 0;

private:
    class CompletionCounter final : public QObject {
    public:
        explicit CompletionCounter(RealLookupWindow* w) : m_w(w) {}
        bool eventFilter(QObject*, QEvent* e) override
        {
            if (e->type() == WindowMessage::eventType())
                ++m_w->completions;
            return false;
        }

    private:
        RealLookupWindow* m_w;
    };
    std::unique_ptr<CompletionCounter> m_counter;
};

#pragma once
#include "FormHarness.h"
#include "app/MultiLineTextBox.h"
#include "platform/QtTcpControl.h"
#include "platform/QtTimer.h"

#include <QtTest>
#include <QtWidgets>

// The window on fakes but with the real TCP connection (and, if asked, the real timer),
// the Whois page in front.
struct WhoisPage {
    explicit WhoisPage(bool realTimer = false)
        : harness({.adjust = [realTimer](Platform& p) {
            p.createTcpControl = [](QObject* parent) { return new QtTcpControl(parent); };
            if (realTimer)
                p.createTimer = [](QObject* parent) { return new QtTimer(parent); };
        }})
    {
        form().show();
        form().SSTab1->setCurrentIndex(3);
    }
    Form1& form() { return *harness.form; }

    void query(const QString& domain, const QString& server, const QString& port)
    {
        // Key clicks carry ASCII only; other letters come in as if pasted.
        for (const auto& [box, text] : {std::pair(form().Text1, domain), {form().Text2, server}, {form().Text3, port}}) {
            box->clear();
            text.toLatin1() == text.toUtf8() ? QTest::keyClicks(box, text) : box->insert(text);
        }
        QTest::mouseClick(form().Command1, Qt::LeftButton);
    }
    void query(const QString& domain, quint16 port) { query(domain, QStringLiteral("127.0.0.1"), QString::number(port)); }

    QString shown() const { return harness.form->HostResponse->text(); }
    bool idle() const { return harness.form->Command1->isEnabled() && !harness.busyPointer.isBusy(); }
    bool querying() const { return !harness.form->Command1->isEnabled() && harness.busyPointer.isBusy(); }

    FormHarness harness;
};

#pragma once
#include "platform/HelpViewer.h"

#include <QEventLoop>
#include <QStringList>
#include <QTimer>

// A compiled-help viewer that shows nothing, remembers every call as "owner file command
// data" and answers `handle`. With `presenceMs`, the presence test runs the event loop that
// long, as the desktop's does.
class FakeHelpViewer final : public HelpViewer {
public:
    bool isInstalled() override
    {
        ++presenceTests;
        if (presenceMs > 0) {
            QEventLoop loop;
            QTimer::singleShot(presenceMs, &loop, &QEventLoop::quit);
            loop.exec();
        }
        return installed;
    }
    bool takesTopics() const override { return topics; }
    qint32 show(qint64 ownerWindow, const QString& helpFile, int command, const QString& data) override
    {
        calls << QStringLiteral("%1 %2 %3 %4").arg(QString::number(ownerWindow), helpFile, QString::number(command), data);
        return handle;
    }
    bool installed = false;
    bool topics = true;
    int presenceTests = 0;
    int presenceMs = 0;
    qint32 handle = 7;
    QStringList calls;
};

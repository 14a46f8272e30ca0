#pragma once
#include "platform/HelpViewer.h"

#include <QStringList>

class FakeHelpViewer final : public HelpViewer {
public:
    bool isInstalled() override { return installed; }
    qint32 show(qint64, const QString& helpFile, int command, const QString& topic) override
    {
        calls << QStringLiteral("%1|%2|%3").arg(helpFile).arg(command).arg(topic);
        return handle;
    }
    bool installed = false;
    qint32 handle = 7;
    QStringList calls;
};

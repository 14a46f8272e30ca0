#pragma once
#include <QString>

// The desktop's viewer for compiled help files.
class HelpViewer {
public:
    virtual ~HelpViewer() = default;
    // Asked afresh each time: is a viewer registered for compiled help files?
    virtual bool isInstalled() = 0;
    // Shows `topic` (empty: the default topic) of `helpFile`. Returns a non-zero
    // window handle when the viewer was started, 0 when nothing was shown.
    virtual qint32 show(qint64 ownerWindow, const QString& helpFile, int command, const QString& topic) = 0;
};

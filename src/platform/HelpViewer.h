#pragma once
#include <QtGlobal>

class QString;

// The desktop's viewer for compiled help files.
class HelpViewer {
public:
    // Commands of the viewer call.
    static constexpr int kDisplayTopic = 0;
    static constexpr int kKeywordLookup = 13;

    virtual ~HelpViewer() = default;
    // Asked afresh each time: is a viewer registered for compiled help files? May run the
    // event loop while it waits for the desktop's answer.
    virtual bool isInstalled() = 0;
    // Can the viewer that isInstalled() found be sent to a topic? Some open the file at its
    // first page whatever they are given.
    virtual bool takesTopics() const = 0;
    // kDisplayTopic shows topic `data` of `helpFile` (empty: its default topic);
    // kKeywordLookup looks keyword `data` up. Returns a non-zero window handle when the
    // viewer was started, 0 when nothing was shown. Does not wait for the viewer.
    virtual qint32 show(qint64 ownerWindow, const QString& helpFile, int command, const QString& data) = 0;
};

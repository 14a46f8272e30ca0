#pragma once
#include <QtGlobal>

class QString;

// Opens a document with the "open" verb, in the application the desktop has registered
// for it. The status follows the old shell convention: above 32 is success.
class Shell {
public:
    static constexpr qint32 kCouldNotStart = 0;   // the opener itself did not start
    static constexpr qint32 kFileNotFound = 2;
    static constexpr qint32 kPathNotFound = 3;    // the document's folder is missing
    static constexpr qint32 kNoAssociation = 31;  // no application registered for its type
    static constexpr qint32 kOpened = 42;
    static constexpr qint32 kHighestFailure = 32;

    virtual ~Shell() = default;
    // `ownerWindow` is the native handle of the window asking. May run the event loop while
    // it asks the desktop; the application itself runs on its own and is not waited for.
    virtual qint32 open(qint64 ownerWindow, const QString& path) = 0;
};

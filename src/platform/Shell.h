#pragma once
#include <QString>

// Opens a document in the application the desktop has registered for it.
class Shell {
public:
    virtual ~Shell() = default;
    // Status above 32 when the document exists and a viewer was started; 32 or less otherwise.
    virtual int open(const QString& path) = 0;
};

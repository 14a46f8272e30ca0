#pragma once
#include "platform/ui/Dialogs.h"

#include <QStringList>

// A save dialog the test answers with `answer` (empty: cancelled); remembers its suggestions.
class FakeFileDialog final : public FileDialog {
public:
    QString saveFileName(QWidget*, const QString&, const QString& suggestedName) override
    {
        asked << suggestedName;
        return answer;
    }
    QString answer;
    QStringList asked;
};

#pragma once
#include "Dialogs.h"

class QtMessageBox final : public MessageBox {
public:
    void show(QWidget* owner, const QString& prompt, int flags, const QString& title) override;
};

class QtBusyPointer final : public BusyPointer {
public:
    ~QtBusyPointer() override;
    void setBusy(bool busy) override;
    bool isBusy() const override { return m_busy; }

private:
    bool m_busy = false;
};

class QtFileDialog final : public FileDialog {
public:
    QString saveFileName(QWidget* owner, const QString& title, const QString& suggestedName) override;
    QString saveFileNameAs(QWidget* owner, const QString& title, const QString& suggestedName,
                           const QStringList& filters, int& chosen) override;
};

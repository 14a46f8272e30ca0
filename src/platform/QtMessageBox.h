#pragma once
#include "MessageBox.h"

class QtMessageBox final : public MessageBox {
public:
    void show(QWidget* owner, const QString& prompt, int flags, const QString& title) override;
};

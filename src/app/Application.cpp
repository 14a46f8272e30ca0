#include "Application.h"

#include "AppIcon.h"
#include "Form1.h"
#include "RealPlatform.h"

#include <QApplication>

int runApplication(int argc, char** argv, const std::function<void(Form1&)>& onCreated)
{
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Pathlark"));
    QApplication::setDesktopFileName(QStringLiteral("pathlark"));
    QApplication::setWindowIcon(appIcon());

    RealPlatform platform;
    Form1 form(platform.platform());
    form.Form_Load();
    if (onCreated)
        onCreated(form);
    form.showCentred();
    const int status = app.exec();
    form.Form_Terminate();
    return status;
}

#include "Application.h"

#include "AppIcon.h"
#include "CommandLine.h"
#include "Form1.h"
#include "Module1.h"
#include "RealPlatform.h"

#include <QApplication>
#include <QTimer>

#include <cstdio>

namespace {

bool isSet(const char* variable)
{
    return !qEnvironmentVariableIsEmpty(variable);
}

// Whether a window can be shown at all. Without a display Qt's platform plugin would abort the
// program; a platform named on the command line or in QT_QPA_PLATFORM (offscreen for tests, a
// VNC or framebuffer one) needs none, unless it is the X or Wayland one.
bool hasGraphicalSession(const QStringList& arguments)
{
    for (const QString& argument : arguments) {
        if (argument == QLatin1String("-platform") || argument.startsWith(QLatin1String("-platform=")))
            return true;
    }
    const QString platforms = qEnvironmentVariable("QT_QPA_PLATFORM");
    if (platforms.isEmpty())
        return isSet("DISPLAY") || isSet("WAYLAND_DISPLAY");
    for (const QString& platform : platforms.split(u';', Qt::SkipEmptyParts)) {
        const QString name = platform.section(u':', 0, 0);
        if (name == QLatin1String("xcb") ? isSet("DISPLAY")
                                         : !name.startsWith(QLatin1String("wayland")) || isSet("WAYLAND_DISPLAY"))
            return true;
    }
    return false;
}

} // namespace

void keepDefaultFontSans()
{
    QFont font = QApplication::font();
    if (!QFontInfo(font).fixedPitch())
        return;
    font.setFamily(QStringLiteral("Arial"));
    font.setStyleHint(QFont::SansSerif);
    QApplication::setFont(font);
}

int runApplication(int argc, char** argv, const std::function<void(Form1&)>& onCreated)
{
    // Answered before the application object exists: --help works where no display does.
    QStringList arguments;
    for (int i = 0; i < argc; ++i)
        arguments << QString::fromLocal8Bit(argv[i]);
    const CommandLine line = CommandLine::parse(arguments);
    switch (line.action) {
    case CommandLine::Action::PrintHelp:
        std::fputs(qPrintable(CommandLine::usage()), stdout);
        return 0;
    case CommandLine::Action::PrintVersion:
        std::printf("pathlark %s\n", PATHLARK_VERSION);
        return 0;
    case CommandLine::Action::Refuse:
        std::fprintf(stderr, "pathlark: %s\nTry 'pathlark --help' for the options.\n", qPrintable(line.error));
        return 2;
    case CommandLine::Action::OpenWindow:
        break;
    }
    if (!hasGraphicalSession(arguments)) {
        std::fputs("pathlark: no graphical session (DISPLAY and WAYLAND_DISPLAY are not set); "
                   "without one, use 'pathlark --report HOST'\n", stderr);
        return 1;
    }

    QApplication app(argc, argv);
    QApplication::setApplicationName(kProgramTitle);
    QApplication::setApplicationVersion(QStringLiteral(PATHLARK_VERSION));
    QApplication::setDesktopFileName(QStringLiteral("pathlark"));
    QApplication::setWindowIcon(appIcon());
    keepDefaultFontSans();

    RealPlatform platform;
    Form1 form(platform.platform());
    form.Form_Load();
    if (onCreated)
        onCreated(form);
    form.showCentred();
    if (line.page >= 0) {
        // From the event loop, once the window shows, as the user's own click would come.
        QTimer::singleShot(0, &form, [&form, &line] { form.openPage(line.page, line.host, line.start, line.server, line.port); });
    }
    const int status = app.exec();
    form.Form_Terminate();
    return status;
}

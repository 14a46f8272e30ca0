#include "Application.h"

#include "AppIcon.h"
#include "CommandLine.h"
#include "asn/AsnLookup.h"
#include "Form1.h"
#include "HeadlessReport.h"
#include "Module1.h"
#include "RealPlatform.h"

#include <QApplication>
#include <QTimer>

#include <algorithm>
#include <cstdio>

namespace {

// Whether a window can be shown: without a display Qt's platform plugin would abort the program.
// A platform named on the command line or in QT_QPA_PLATFORM (offscreen for tests) is Qt's to try.
bool hasGraphicalSession(const QStringList& arguments)
{
    const auto named = [](const QString& argument) { return argument.startsWith(QLatin1String("-platform")); };
    return !qEnvironmentVariableIsEmpty("DISPLAY") || !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY")
        || !qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM") || std::ranges::any_of(arguments, named);
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
    case CommandLine::Action::Report:
        return runHeadlessReport(argc, argv, line);   // no window, so no display needed
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
    if (asn::AsnLookup* origins = form.asnLookup()) {
        origins->setEnabled(!line.noAsn);
        if (!line.asnZone.isEmpty())
            origins->setZone(line.asnZone);
    }
    form.setFollowReferrals(line.followReferrals);
    if (onCreated)
        onCreated(form);
    form.showCentred();
    if (line.page != Page::Window) {
        // From the event loop, once the window shows, as the user's own click would come.
        QTimer::singleShot(0, &form, [&form, &line] { form.openPage(line.page, line.host, line.start, line.server, line.port); });
    }
    if (!line.monitorHost.isEmpty())
        QTimer::singleShot(0, &form, [&form, &line] { form.openMonitor(line.monitorHost); });
    const int status = app.exec();
    form.Form_Terminate();
    return status;
}

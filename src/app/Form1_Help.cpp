// F1 help: the page of the tab page in front, in the desktop's compiled-help viewer where
// one is registered, in the browser otherwise.
#include "Form1.h"

#include "PageRegistry.h"
#include "help/HelpPages.h"
#include "help/cHtmlHelp.h"
#include "platform/Desktop.h"
#include "platform/ui/Dialogs.h"

#include <QCoreApplication>
#include <QPointer>
#include <QScopeGuard>

void Form1::Form_KeyUp(qint16& KeyCode, qint16& /*Shift*/)
{
    // A second F1 released while the desktop is still being asked would open the help twice.
    if (KeyCode != kKeyF1 || helpInProgress)
        return;
    // Compared exactly; anything that names no page, the empty text included, gets the main page.
    const PageEntry* entry = pageWithCaption(module.CurrentTab);
    showHelp(entry ? HelpPage{QString::fromLatin1(entry->helpTopic), QString::fromLatin1(entry->helpFile)}
                   : mainHelpPage(),
             this);
}

void Form1::showHelp(const HelpPage& page, QWidget* owner)
{
    if (helpInProgress)
        return;
    // The desktop is asked with the event loop running: the window may be closed or
    // destroyed meanwhile, and then nothing more is shown.
    const QPointer<Form1> self(this);
    const QPointer<QWidget> shownOver(owner);
    const bool onScreen = owner->isVisible();
    const auto closedMeanwhile = [&] { return !self || !shownOver || (onScreen && !shownOver->isVisible()); };
    helpInProgress = true;
    const auto done = qScopeGuard([&] {
        if (self)
            self->helpInProgress = false;
    });

    // A viewer that cannot be sent to a topic would open the help at its first page: the topic's
    // own page in the browser keeps the user where they asked to be.
    const bool viewerInstalled = m_platform.helpViewer->isInstalled()
        && (page.topic.isEmpty() || m_platform.helpViewer->takesTopics());
    if (closedMeanwhile())
        return;
    if (viewerInstalled) {
        try {
            if (!module.ContextHelp)
                module.ContextHelp = std::make_unique<cHtmlHelp>(m_platform.helpViewer);
            module.ContextHelp->htmlHelpCaller(owner->windowHandle());
            module.ContextHelp->htmlHelpFileName(programFolder + QLatin1String(kCompiledHelpFile));
            if (page.topic.isEmpty())
                module.ContextHelp->htmlHelpHome();
            else
                module.ContextHelp->htmlHelpTopic(page.topic);
        } catch (const HtmlHelpError& error) {
            // Shown like every other failure of the program: exclamation mark, the program's
            // title. "Help for Pathlark" stays the title of the missing-browser message alone.
            m_platform.messageBox->show(owner, error.description(), MessageBox::kExclamation, kProgramTitle);
        }
        return;
    }

    if (ShellOpen(owner, programFolder + page.file) <= Shell::kHighestFailure && !closedMeanwhile())
        m_platform.messageBox->show(owner,
                                    QStringLiteral("This help file requires an Internet browser in order to be displayed."),
                                    MessageBox::kExclamation, QStringLiteral("Help for ") + kProgramTitle);
}

qint32 Form1::ShellOpen(QWidget* owner, const QString& path)
{
    const qint64 ownerWindow = owner ? qint64(owner->winId()) : 0;
    return m_platform.shell->open(ownerWindow, path);
}

#include "cHtmlHelp.h"

#include "platform/Desktop.h"

#include <QFileInfo>

cHtmlHelp::cHtmlHelp(HelpViewer* viewer)
    : m_viewer(viewer)
{
}

void cHtmlHelp::raise(qint32 number, const QString& description)
{
    throw HtmlHelpError(number, QStringLiteral("cHtmlHelp"), description);
}

QWindow* cHtmlHelp::htmlHelpCaller() const
{
    return m_caller;
}

void cHtmlHelp::htmlHelpCaller(QWindow* ParentForm)
{
    m_caller = ParentForm;
    if (m_caller.isNull())
        raise(kErrCaller, QStringLiteral("Could not set reference to Caller Form."));
}

QString cHtmlHelp::htmlHelpFileName() const
{
    return m_helpFile;
}

void cHtmlHelp::htmlHelpFileName(QString WhichHelpFileName)
{
    // An ordinary, visible file only: folders, devices and dot-files do not count.
    const QFileInfo file(WhichHelpFileName);
    if (WhichHelpFileName.isEmpty() || !file.isFile() || file.isHidden() || file.fileName().isEmpty())
        raise(kErrFileMissing, QStringLiteral("Help File does not exist."));
    m_helpFile = std::move(WhichHelpFileName);
}

void cHtmlHelp::htmlHelpHome()
{
    callViewer(HelpViewer::kDisplayTopic, QString(), kErrHome, QStringLiteral("Could not locate HTML Help Home."));
}

void cHtmlHelp::htmlHelpTopic(const QString& WhichTopic)
{
    callViewer(HelpViewer::kDisplayTopic, WhichTopic, kErrTopic,
               QStringLiteral("Could not locate Help Page: ") + WhichTopic);
}

void cHtmlHelp::htmlHelpSearch()
{
    callViewer(HelpViewer::kKeywordLookup, QString(), kErrSearch,
               QStringLiteral("Could not initiate Help Index Search."));
}

void cHtmlHelp::callViewer(int command, const QString& data, qint32 errorNumber, const QString& description)
{
    // The native handle is read afresh: the window may have been re-created since it was set.
    if (m_caller.isNull() || !m_viewer)
        raise(errorNumber, description);
    const auto owner = qint64(m_caller->winId());
    m_helpWindow = m_viewer->show(owner, m_helpFile, command, data);
    if (m_helpWindow == 0)
        raise(errorNumber, description);
}

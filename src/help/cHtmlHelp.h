#pragma once
#include "help/HtmlHelpError.h"

#include <QPointer>
#include <QString>
#include <QWidget>

class HelpViewer;

// Binds the desktop's compiled-help viewer to one owner window and one help file. Set the
// caller, then the file name, then show help; each step may be repeated at any time. Every
// failure is raised as an HtmlHelpError with the source "cHtmlHelp".
class cHtmlHelp {
public:
    static constexpr qint32 kErrFileMissing = 41000;
    static constexpr qint32 kErrCaller = 41001;
    static constexpr qint32 kErrHome = 41002;
    static constexpr qint32 kErrTopic = 41003;
    static constexpr qint32 kErrSearch = 41004;

    // `viewer` must outlive the object; a null viewer makes every viewer call fail.
    explicit cHtmlHelp(HelpViewer* viewer);
    cHtmlHelp(const cHtmlHelp&) = delete;
    cHtmlHelp& operator=(const cHtmlHelp&) = delete;

    QWidget* htmlHelpCaller() const;
    void htmlHelpCaller(QWidget* ParentForm);
    void htmlHelpHome();
    QString htmlHelpFileName() const;
    void htmlHelpFileName(QString WhichHelpFileName);
    void htmlHelpSearch();
    void htmlHelpTopic(const QString& WhichTopic);

private:
    [[noreturn]] static void raise(qint32 number, const QString& description);
    void callViewer(int command, const QString& data, qint32 errorNumber, const QString& description);

    HelpViewer* m_viewer;
    // Guarded: a caller window that closes leaves an empty reference, never a dangling one.
    QPointer<QWidget> m_caller;
    QString m_helpFile;
    qint32 m_helpWindow = 0;
};

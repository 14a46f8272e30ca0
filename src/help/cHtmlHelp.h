#pragma once
#include <QByteArray>
#include <QPointer>
#include <QString>
#include <QWindow>

#include <exception>

class HelpViewer;

// A failure raised by the help wrapper: its number, the source that raised it and a
// description for the user.
class HtmlHelpError : public std::exception {
public:
    HtmlHelpError(qint32 number, QString source, QString description)
        : m_number(number)
        , m_source(std::move(source))
        , m_description(std::move(description))
        , m_what(m_description.toUtf8())
    {
    }

    qint32 number() const noexcept { return m_number; }
    const QString& source() const noexcept { return m_source; }
    const QString& description() const noexcept { return m_description; }
    const char* what() const noexcept override { return m_what.constData(); }

private:
    qint32 m_number;
    QString m_source;
    QString m_description;
    QByteArray m_what;
};

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

    QWindow* htmlHelpCaller() const;
    void htmlHelpCaller(QWindow* ParentForm);
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
    QPointer<QWindow> m_caller;
    QString m_helpFile;
    qint32 m_helpWindow = 0;
};

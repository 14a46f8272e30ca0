#pragma once
#include <QByteArray>
#include <QString>

#include <exception>

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

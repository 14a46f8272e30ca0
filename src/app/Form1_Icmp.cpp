// Ping and Traceroute pages.
#include "Form1.h"

#include "Label.h"
#include "MultiLineTextBox.h"
#include "ResultsTable.h"
#include "icmp/IcmpControl.h"

#include <QLineEdit>
#include <QPushButton>

void Form1::wireIcmp()
{
    connect(cmdPing, &QPushButton::clicked, this, &Form1::cmdPing_Click);
    connect(cmdCancel, &QPushButton::clicked, this, &Form1::cmdCancel_Click);
    connect(cmdTraceroute, &QPushButton::clicked, this, &Form1::cmdTraceroute_Click);
    connect(cmdCancelTrace, &QPushButton::clicked, this, &Form1::cmdCancelTrace_Click);
    connect(axICMP1, &IcmpControl::Error, this, &Form1::axICMP1_Error);
    connect(axICMP1, &IcmpControl::PingData, this, &Form1::axICMP1_PingData);
    // Direct: the handler writes the stop request back through the event's Cancel.
    connect(axICMP1, &IcmpControl::TraceData, this, &Form1::axICMP1_TraceData, Qt::DirectConnection);
    connect(axICMP1, &IcmpControl::SequenceComplete, this, &Form1::axICMP1_SequenceComplete);
}

void Form1::cmdPing_Click()
{
    HostResponse->hide();
    ListView1->setColumnHeader(QStringLiteral("TTL"), QStringLiteral("TTL"));
    cmdPing->setEnabled(true);
    cmdCancel->setEnabled(false);
    if (refusedWithoutConnection())
        return;
    // Texts under two characters are kept as typed, and still checked.
    checkHost(txtRemote, m_pingCheck, [this](const QString& host, const HostCheck& answer) {
        if (!answer.found)
            return;
        axICMP1->setHostAddress(host);
        axICMP1->setTargetAddress(answer.address);
        txtRemoteTrace->setText(host);
        lblCaption->setCaption(QStringLiteral("Pinging ") + axICMP1->HostAddress() + QStringLiteral(" with ")
                               + QString::number(axICMP1->CharsPerPacket()) + QStringLiteral(" bytes of data"));
        ListView1->clear();
        axICMP1->Ping();
    });
}

void Form1::cmdCancel_Click()
{
    CancelRequested = kTrue16;
}

void Form1::cmdTraceroute_Click()
{
    CancelRequested = kFalse16;
    if (refusedWithoutConnection())
        return;
    HostResponse->hide();
    cmdPing->setEnabled(false);
    cmdTraceroute->setEnabled(false);
    cmdCancelTrace->setEnabled(true);
    ListView1->setColumnHeader(QStringLiteral("TTL"), QStringLiteral("Return Code"));
    checkHost(txtRemoteTrace, m_traceCheck, [this](const QString& host, const HostCheck& answer) {
        if (!answer.found) {
            cmdTraceroute->setEnabled(true);
            cmdPing->setEnabled(true);
            return;
        }
        axICMP1->setHostAddress(host);
        axICMP1->setTargetAddress(answer.address);
        lblCaptionTrace->setCaption(QStringLiteral("Tracing route to ") + axICMP1->HostAddress());
        ListView1->clear();
        axICMP1->Trace();
    });
}

void Form1::cmdCancelTrace_Click()
{
    CancelRequested = kTrue16;
}

void Form1::axICMP1_Error(const QString& Description, Bool16 /*Fatal*/)
{
    ListView1->addRow(QStringLiteral("Error"), {Description, QString(), QString(), QString(), QString()});
}

void Form1::axICMP1_PingData(const QString& RespondingHostIP, const QString& RespondingHostName,
                             const QString& TripTime, const QString& /*ReturnCodeDescription*/,
                             qint32 /*ReturnCode*/, qint16 DataSize, quint8 TTL)
{
    ListView1->addRow(QStringLiteral("--"), {RespondingHostIP, RespondingHostName, TripTime,
                                             QString::number(DataSize), QString::number(TTL)});
    showOrigin(ListView1->topLevelItem(ListView1->topLevelItemCount() - 1));
}

void Form1::axICMP1_TraceData(const QString& RespondingHostIP, const QString& RespondingHostName,
                              const QString& TripTime, const QString& ReturnCodeDescription,
                              qint32 /*ReturnCode*/, const QString& HopNumber, Bool16* Cancel)
{
    const QString name = RespondingHostName.isEmpty() ? QStringLiteral("(No DNS Resolution)") : RespondingHostName;
    ListView1->addRow(HopNumber, {RespondingHostIP, name, TripTime, QStringLiteral("0"), ReturnCodeDescription});
    showOrigin(ListView1->topLevelItem(ListView1->topLevelItemCount() - 1));
    if (Cancel)
        *Cancel = CancelRequested;
}

void Form1::axICMP1_SequenceComplete()
{
    ListView1->addRow(QStringLiteral("!"), {QStringLiteral("Sequence Complete"), QString(), QString(), QString(),
                                            QString()});
    cmdCancel->setEnabled(false);
    cmdTraceroute->setEnabled(true);
    cmdPing->setEnabled(true);
}

// Ping and Traceroute pages.
#include "Form1.h"

void Form1::wireIcmp() {}
void Form1::cmdPing_Click() {}
void Form1::cmdCancel_Click() {}
void Form1::cmdTraceroute_Click() {}
void Form1::cmdCancelTrace_Click() {}
void Form1::axICMP1_Error(const QString&, Bool16) {}
void Form1::axICMP1_PingData(const QString&, const QString&, const QString&, const QString&, qint32, qint16, quint8) {}
void Form1::axICMP1_TraceData(const QString&, const QString&, const QString&, const QString&, qint32, const QString&,
                              Bool16*)
{
}
void Form1::axICMP1_SequenceComplete() {}

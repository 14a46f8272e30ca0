// Start-up and shut-down of the main window.
#include "Form1.h"

#include "icmp/LocalAddress.h"
#include "MultiLineTextBox.h"
#include "icmp/IcmpControl.h"
#include "platform/InterfaceList.h"
#include "platform/ui/Dialogs.h"
#include "platform/Controls.h"

#include <QLineEdit>

void Form1::Form_Load()
{
    KeyPreview = true;

    if (firstDialUpConnectionState(m_platform.interfaceList->interfaces()) == RASCS_Connected) {
        module.IsConnected = kTrue16;
    } else if (axICMP1->LocalIP() != QLatin1String("127.0.0.1")) {
        module.IsConnected = kTrue16;
    } else {
        module.IsConnected = kFalse16;
        m_platform.messageBox->show(this, kProgramTitle + QStringLiteral(" requires an Internet connection to be fully functional."),
                                    MessageBox::kExclamation, kProgramTitle);
        return;
    }

    HostResponse->hide();
    for (QLineEdit* box : {txtLocal, txtLocalTrace, txtLocalDNS})
        box->setText(axICMP1->LocalHostName() + QStringLiteral(" (") + axICMP1->LocalIP() + QStringLiteral(")"));
}

void Form1::Form_Unload(qint16& /*Cancel*/)
{
    module.ContextHelp.reset();
    closeConnectionIfOpen();
}

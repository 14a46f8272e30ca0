// The AS behind each row of the Ping and Traceroute tables, in the row's tooltip, and
// "Whois This Address", which asks the root whois server about the row's address.
#include "Form1.h"

#include "AsnText.h"
#include "PageRegistry.h"
#include "ResultsTable.h"
#include "asn/AsnLookup.h"

#include <QAction>
#include <QTabWidget>

namespace {

constexpr int kAddressColumn = 1;

} // namespace

void Form1::wireAsn()
{
    if (m_platform.txtLookup) {
        m_asn = new asn::AsnLookup(*m_platform.txtLookup, this);
        // An answer fills in the rows already shown; rows never wait for it.
        connect(m_asn, &asn::AsnLookup::changed, this, [this] {
            for (int i = 0; i < ListView1->topLevelItemCount(); ++i)
                showOrigin(ListView1->topLevelItem(i));
        });
    }

    auto* whois = new QAction(tr("&Whois This Address"), this);
    whois->setObjectName(QStringLiteral("WhoisThisAddress"));
    connect(whois, &QAction::triggered, this, &Form1::whoisThisAddress);
    ListView1->addAction(whois);
    // Only on the pages whose rows are hops and responders, and only for a row with an address.
    const auto follow = [this, whois] {
        const int page = SSTab1->currentIndex();
        const bool icmpPage = page >= 0 && page < int(pageRegistry().size()) && pageRegistry()[size_t(page)].monitorable;
        const QTreeWidgetItem* row = ListView1->currentItem();
        whois->setEnabled(icmpPage && row && rowAddress(row->text(kAddressColumn)));
    };
    connect(SSTab1, &QTabWidget::currentChanged, this, follow);
    connect(ListView1, &QTreeWidget::currentItemChanged, this, follow);
    follow();
}

void Form1::showOrigin(QTreeWidgetItem* row)
{
    if (!m_asn || !row)
        return;
    const std::optional<QHostAddress> address = rowAddress(row->text(kAddressColumn));
    if (!address)
        return;
    m_asn->lookUp(*address);
    if (const std::optional<asn::Origin> origin = m_asn->originOf(*address)) {
        const QString tip = originTip(*origin);
        for (int c = 0; c < ListView1->columnCount(); ++c)
            row->setToolTip(c, tip);
    }
}

void Form1::whoisThisAddress()
{
    const QTreeWidgetItem* row = ListView1->currentItem();
    if (!row)
        return;
    if (const std::optional<QHostAddress> address = rowAddress(row->text(kAddressColumn)))
        openPage(Page::Whois, address->toString(), true, QStringLiteral("whois.iana.org"), QStringLiteral("43"));
}

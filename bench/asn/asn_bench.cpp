// AS data for a 30-hop trace: the main window with the real TXT lookup (QDnsLookup through this
// namespace's resolver, dnsmasq in the lab) and an ICMP control that reports one hop every 20 ms,
// as a fast trace delivers them. The hops fall in 5 prefixes of 3 ASes. Prints the queries sent
// and, per hop, when its row appeared and when its tooltip filled in (ms from the start).
#include "app/Form1.h"
#include "app/RealPlatform.h"
#include "app/ResultsTable.h"
#include "asn/AsnLookup.h"
#include "icmp/IcmpControl.h"
#include "platform/TxtLookup.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QTimer>

#include <cstdio>

namespace {

constexpr int kHops = 30;
constexpr int kHopEveryMs = 20;

// Hop n is in 198.18.(10 + (n - 1) / 6).0/24, the target is hop 30 (run.sh writes the same records).
QString hopAddress(int hop) { return QStringLiteral("198.18.%1.%2").arg(10 + (hop - 1) / 6).arg(hop); }

class ScriptedTrace final : public IcmpControl {
public:
    using IcmpControl::IcmpControl;
    QString HostAddress() const override { return m_host; }
    void setHostAddress(const QString& host) override { m_host = host; }
    void setTargetAddress(const QHostAddress&) override {}
    qint16 CharsPerPacket() const override { return 32; }
    QString LocalIP() const override { return QStringLiteral("198.18.53.1"); }
    QString LocalHostName() const override { return QStringLiteral("h"); }
    void Ping() override {}
    void Trace() override
    {
        auto* tick = new QTimer(this);
        connect(tick, &QTimer::timeout, this, [this, tick, hop = 0]() mutable {
            Bool16 cancel = kFalse16;
            ++hop;
            emit TraceData(hopAddress(hop), QString(), QStringLiteral("1 ms"), QStringLiteral("Success"), 0,
                           QString::number(hop), &cancel);
            if (hop == kHops) {
                tick->deleteLater();
                emit SequenceComplete();
            }
        });
        tick->start(kHopEveryMs);
    }

private:
    QString m_host;
};

struct CountingTxt final : TxtLookup {
    void textsOf(const QString& name, QObject* context, std::function<void(std::optional<QByteArrayList>)> done) override
    {
        names << name;
        real.textsOf(name, context, std::move(done));
    }
    QtTxtLookup real;
    QStringList names;
};

} // namespace

int main(int argc, char** argv)
{
    QApplication app(argc, argv);
    RealPlatform real;
    Platform platform = real.platform();
    CountingTxt txt;
    platform.txtLookup = &txt;
    platform.createIcmpControl = [](QObject* parent) { return new ScriptedTrace(parent); };
    Form1 form(platform);
    form.Form_Load();
    form.show();
    auto* table = form.findChild<ResultsTable*>(QStringLiteral("ListView1"));
    QElapsedTimer clock;
    QList<qint64> rowAt(kHops, -1), tipAt(kHops, -1);
    const auto note = [&] {
        for (int i = 0; i < std::min(kHops, table->topLevelItemCount()); ++i) {
            if (rowAt[i] < 0)
                rowAt[i] = clock.elapsed();
            if (tipAt[i] < 0 && !table->topLevelItem(i)->toolTip(0).isEmpty())
                tipAt[i] = clock.elapsed();
        }
        if (!tipAt.contains(-1))
            app.quit();
    };
    QObject::connect(table->model(), &QAbstractItemModel::rowsInserted, &app, note, Qt::QueuedConnection);
    QObject::connect(form.asnLookup(), &asn::AsnLookup::changed, &app, note, Qt::QueuedConnection);
    QTimer::singleShot(10000, &app, &QApplication::quit);
    clock.start();
    form.openPage(Page::Traceroute, hopAddress(kHops), true);
    app.exec();

    std::printf("queries: %lld (%s)\n", qlonglong(txt.names.size()), qPrintable(txt.names.join(u' ')));
    std::printf("hop  row_ms  tooltip_ms  tooltip\n");
    for (int i = 0; i < kHops; ++i) {
        const QTreeWidgetItem* row = table->topLevelItem(i);
        std::printf("%3d %7lld %11lld  %s\n", i + 1, rowAt[i], tipAt[i], row ? qPrintable(row->toolTip(0)) : "(no row)");
    }
    return tipAt.contains(-1) ? 1 : 0;
}

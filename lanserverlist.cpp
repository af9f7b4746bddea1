// SPDX-License-Identifier: GPL-3.0-or-later
#include "lanserverlist.h"

#include "lanbrowser.h"
#include "serveraddress.h"

#include <QLabel>
#include <QListWidget>
#include <QTimer>
#include <QVBoxLayout>

namespace {

// Where several addresses reach one relay, the row keeps the one a friend would type:
// an IPv4 address of the network before the machine's own, both before IPv6.
int preference(const QHostAddress &address)
{
    if (address.protocol() == QAbstractSocket::IPv4Protocol)
        return address.isLoopback() ? 1 : 0;
    return 2;
}

} // namespace

LanServerList::LanServerList(QWidget *parent)
    : QWidget(parent)
    , rows(new QListWidget)
    , browser(new LanBrowser(this))
    , rounds(new QTimer(this))
    , fieldPort(ServerAddress::standardPort)
{
    auto *heading = new QLabel("Serwery w sieci lokalnej");
    heading->setStyleSheet("QLabel { color: #ecf0f1; font-weight: bold; }");
    rows->setStyleSheet(
        "QListWidget {  background-color: #191919;  color: white;  border: 1px solid #666;  "
        "border-radius: 4px;}QListWidget::item {  padding: 2px 4px;}QListWidget::item:selected "
        "{  background-color: #2980b9;}");
    rows->setSortingEnabled(true);
    rows->setFixedHeight(84);
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(4);
    layout->addWidget(heading);
    layout->addWidget(rows);
    setFixedWidth(320);
    adjustSize();

    connect(rows, &QListWidget::itemClicked, this,
            [this](QListWidgetItem *item) { emit picked(item->data(Qt::UserRole).toString()); });
    connect(rows, &QListWidget::itemDoubleClicked, this,
            [this](QListWidgetItem *item) { emit chosen(item->data(Qt::UserRole).toString()); });
    connect(browser, &LanBrowser::answered, this, &LanServerList::record);
    connect(rounds, &QTimer::timeout, this, &LanServerList::browse);
    rounds->start(2000);
}

void LanServerList::setFieldPort(quint16 port)
{
    fieldPort = port;
}

void LanServerList::browse()
{
    if (!lobbyShows())
        return;
    QList<quint16> ports{ServerAddress::standardPort};
    if (fieldPort != ServerAddress::standardPort)
        ports << fieldPort;
    browser->query(ports);
}

void LanServerList::showEvent(QShowEvent *event)
{
    QWidget::showEvent(event);
    // The first round at once, not 2 s after the window opened.
    QTimer::singleShot(0, this, &LanServerList::browse);
}

// Uncovered at its centre: arena, practice tool and rune editor all cover the
// whole window.
bool LanServerList::lobbyShows() const
{
    if (!isVisible())
        return false;
    const QWidget *top = window()->childAt(mapTo(window(), rect().center()));
    return top == this || isAncestorOf(top);
}

void LanServerList::record(const DiscoveryAnswer &answer, const QHostAddress &from, qint64 ms)
{
    Row &row = relays[answer.instance];
    if (row.item && from != row.address && preference(from) >= preference(row.address))
        return;
    if (!row.item) {
        row.item = new QListWidgetItem(rows);
        row.silence = new QTimer(this);
        row.silence->setSingleShot(true);
        connect(row.silence, &QTimer::timeout, this,
                [this, instance = answer.instance] { forget(instance); });
    }
    row.address = from;
    const ServerAddress server{from.toString(), answer.port};
    row.item->setText(QString("%1 · %2/%3 · %4 · %5 ms")
                          .arg(answer.name)
                          .arg(answer.players)
                          .arg(answer.maxPlayers)
                          .arg(server.text())
                          .arg(ms));
    row.item->setData(Qt::UserRole, server.text());
    row.silence->start(silenceMs);
}

void LanServerList::forget(quint64 instance)
{
    const Row row = relays.take(instance);
    delete row.item;
    row.silence->deleteLater();
}

// SPDX-License-Identifier: GPL-3.0-or-later
#ifndef LANSERVERLIST_H
#define LANSERVERLIST_H

#include <QHash>
#include <QHostAddress>
#include <QWidget>

class LanBrowser;
class QListWidget;
class QListWidgetItem;
class QTimer;
struct DiscoveryAnswer;

// The lobby's list of the relays on the local network, one row a relay: asks every
// 2 s while the lobby shows, and lets a row go once its relay has been silent for
// 6 s. A relay that answers from several addresses keeps one row.
class LanServerList : public QWidget
{
    Q_OBJECT

public:
    explicit LanServerList(QWidget *parent = nullptr);

    // The port of the server in the field, asked besides the game's own.
    void setFieldPort(quint16 port);
    // One round of queries, unless a view covers the lobby.
    void browse();

    QListWidget *rows;
    LanBrowser *browser;
    QTimer *rounds;
    int silenceMs = 6000;

signals:
    // HOST:PORT of a row, clicked once or twice.
    void picked(const QString &server);
    void chosen(const QString &server);

protected:
    void showEvent(QShowEvent *event) override;

private:
    struct Row
    {
        QListWidgetItem *item = nullptr;
        QTimer *silence = nullptr;
        QHostAddress address;
    };

    bool lobbyShows() const;
    void record(const DiscoveryAnswer &answer, const QHostAddress &from, qint64 ms);
    void forget(quint64 instance);

    quint16 fieldPort;
    QHash<quint64, Row> relays; // by the relay's instance
};

#endif // LANSERVERLIST_H

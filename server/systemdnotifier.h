// SPDX-License-Identifier: GPL-3.0-or-later
#ifndef SYSTEMDNOTIFIER_H
#define SYSTEMDNOTIFIER_H

#include <QObject>

class QTimer;

// Tells the service manager how the relay is doing: that it is ready, how many play (at
// most once a second), that it stops, and, from the event loop itself, that the loop
// still turns, so that a frozen relay is restarted. Says nothing where nobody asked.
class SystemdNotifier : public QObject
{
    Q_OBJECT

public:
    explicit SystemdNotifier(QObject *parent = nullptr);

    void ready();
    void setPlayers(qsizetype count);
    void stopping();

private:
    void sendStatus();

    QTimer *statusPause;
    QTimer *watchdog;
    qsizetype players = 0;
    bool statusPending = false;
};

#endif // SYSTEMDNOTIFIER_H

// SPDX-License-Identifier: GPL-3.0-or-later
#ifndef SERVERFIELD_H
#define SERVERFIELD_H

#include "serveraddress.h"

#include <QWidget>

class QLabel;
class QLineEdit;

// The lobby's "Serwer:" field: the server the next visit to the arena connects to, in
// the form --server takes. An entry that cannot be read turns it red, with a note
// under it.
class ServerField : public QWidget
{
    Q_OBJECT

public:
    explicit ServerField(QWidget *parent = nullptr);

    void setText(const QString &text);
    // None while the entry cannot be read.
    std::optional<ServerAddress> server() const;
    // Says in a box over the window that the entry cannot be read.
    void refuse();

    QLineEdit *edit;
    QLabel *note;

signals:
    // The entry now names this server.
    void serverChanged(const ServerAddress &server);

private:
    void judge(const QString &text);
};

#endif // SERVERFIELD_H

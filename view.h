// SPDX-License-Identifier: GPL-3.0-or-later
#ifndef VIEW_H
#define VIEW_H

#include "client.h"
#include "framepacer.h"
#include "gun.h"
#include "player.h"

#include <QGraphicsPixmapItem>
#include <QGraphicsScene>
#include <QGraphicsView>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QPointer>

#include <cmath>

// The arena as the user sees it, and the only place where arena input is read.
// A click or key only asks the server; the echo does the rest.
//
// Hundreds of small items move every few milliseconds in the arena: a frame pacer
// repaints what changed at most once a screen refresh.
class View : public QGraphicsView
{
    Q_OBJECT

public:
    explicit View(Client *client, QWidget *parent = nullptr)
        : QGraphicsView(parent)
        , client(client)
    {
        setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
        setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
        setFrameStyle(0);
        setFocusPolicy(Qt::StrongFocus);
        if (client) {
            setScene(client->scene);
            // Queued: the box may have come up inside a handler that is still running.
            connect(client, &Client::connectionErrorClosed, this, &View::leaveArena,
                    Qt::QueuedConnection);
        }
        new FramePacer(this);
    }

    QPointer<Client> client; // the Client deletes itself on leaving

    // Ends the visit: the connection and everything of the world stop at once.
    void leaveArena()
    {
        if (client)
            client->leave();
        close();
        emit left();
    }

signals:
    // The arena is closed; what is left on its scene is for the scene's owner to clear.
    void left();

protected:
    // The background picture is copied into place tile by tile: Qt copies an opaque
    // picture line by line, where it would fill a pattern pixel by pixel, and a cache of
    // the whole background would have to be moved along at every step of a scroll.
    void drawBackground(QPainter *painter, const QRectF &area) override
    {
        const QPixmap tile = backgroundBrush().texture();
        if (tile.isNull())
            return QGraphicsView::drawBackground(painter, area);
        const qreal width = tile.width();
        const qreal height = tile.height();
        for (qreal y = std::floor(area.top() / height) * height; y < area.bottom(); y += height)
            for (qreal x = std::floor(area.left() / width) * width; x < area.right(); x += width)
                painter->drawPixmap(QPointF(x, y), tile);
    }

    void mousePressEvent(QMouseEvent *event) override
    {
        const Qt::MouseButton button = event->button();
        if (client && (button == Qt::LeftButton || button == Qt::RightButton)) {
            const QPointF point = mapToScene(event->position().toPoint());
            const QByteArray payload =
                QByteArray::number(point.x(), 'g', 6) + ';' + QByteArray::number(point.y(), 'g', 6);
            client->sendData(button == Qt::RightButton ? MsgMove : MsgShoot, payload);
        }
        QGraphicsView::mousePressEvent(event);
    }

    void keyPressEvent(QKeyEvent *event) override
    {
        if (!client || !client->localPlayer)
            return;
        const int key = event->key();
        if (key >= Qt::Key_1 && key <= Qt::Key_3) {
            const int item = client->inventory.at(key - Qt::Key_1);
            const QByteArray flag = item != client->heldItemId ? "1" : "0";
            client->sendData(MsgWeapon, QByteArray::number(item, 10) + ';' + flag);
        } else if (key == Qt::Key_Escape) {
            leaveArena();
        }
        QGraphicsView::keyPressEvent(event);
    }
};

#endif // VIEW_H

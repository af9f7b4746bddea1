#ifndef VIEW_H
#define VIEW_H

#include "client.h"
#include "gun.h"
#include "player.h"

#include <QGraphicsPixmapItem>
#include <QGraphicsView>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPointer>
#include <utility>

// The arena as the user sees it, and the only place where arena input is read.
// A click or key only asks the server; the echo does the rest.
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
    }

    QPointer<Client> client; // the Client deletes itself on leaving

protected:
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

private:
    void leaveArena()
    {
        delete std::exchange(client->groundWeapon, nullptr);
        client->sceneryItems.clear();
        client->playerGuns.clear();
        client->deleteLater();
        close();
    }
};

#endif // VIEW_H

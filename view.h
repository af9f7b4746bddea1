// SPDX-License-Identifier: GPL-3.0-or-later
#ifndef VIEW_H
#define VIEW_H

#include "client.h"
#include "gun.h"
#include "player.h"

#include <QElapsedTimer>
#include <QGraphicsPixmapItem>
#include <QGraphicsScene>
#include <QGraphicsView>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPointer>
#include <QScreen>
#include <QTimer>

#include <algorithm>
#include <utility>

// The arena as the user sees it, and the only place where arena input is read.
// A click or key only asks the server; the echo does the rest.
//
// Hundreds of small items move every few milliseconds in the arena. Rather than
// repaint after each move, the view gathers what the scene reports changed and
// repaints it at most once a screen refresh, one rectangle at a time: under a
// rectangular clip Qt's raster engine copies pictures straight into place, while
// under a clip of several rectangles it hands every fill taller than about a
// hundred lines to its thread pool, which costs more than the fill itself at
// this size. The background, one picture, is cached for the same reason.
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
        setViewportUpdateMode(NoViewportUpdate);
        setCacheMode(CacheBackground);
        frame.setSingleShot(true);
        frame.setTimerType(Qt::PreciseTimer);
        connect(&frame, &QTimer::timeout, this, &View::paintChanges);
        sinceFrame.start();
        if (client) {
            setScene(client->scene);
            connect(client->scene, &QGraphicsScene::changed, this, &View::gatherChanges);
            // Queued: the box may have come up inside a handler that is still running.
            connect(client, &Client::connectionErrorClosed, this, &View::leaveArena,
                    Qt::QueuedConnection);
        }
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
    void scrollContentsBy(int dx, int dy) override
    {
        QGraphicsView::scrollContentsBy(dx, dy);
        gather(viewport()->rect());
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

private:
    // Each repaint has a cost of its own, so there are at most this many a frame.
    static constexpr int maxPieces = 16;

    void gatherChanges(const QList<QRectF> &sceneRects)
    {
        const QTransform toViewport = viewportTransform();
        for (const QRectF &rect : sceneRects)
            // Two pixels more on each side, for antialiased edges.
            gather(toViewport.mapRect(rect).toAlignedRect().adjusted(-2, -2, 2, 2));
    }

    void gather(const QRect &area)
    {
        if (!area.intersects(viewport()->rect()))
            return;
        if (QRect *piece = pieceToJoin(area))
            *piece |= area;
        else
            pieces.append(area);
        if (frame.isActive())
            return;
        const double screenRate = screen() ? screen()->refreshRate() : 0.0;
        const int frameMs = int(1000 / (screenRate > 0 ? screenRate : 60.0));
        frame.start(std::max(0, frameMs - int(sinceFrame.elapsed())));
    }

    static qint64 areaOf(const QRect &rect) { return qint64(rect.width()) * rect.height(); }

    // A moving item reports where it was and where it is: one piece for both. Once
    // there are as many pieces as allowed, a change joins the piece it enlarges least.
    QRect *pieceToJoin(const QRect &area)
    {
        auto piece = std::find_if(pieces.begin(), pieces.end(),
                                  [&area](const QRect &piece) { return piece.intersects(area); });
        if (piece == pieces.end() && pieces.size() >= maxPieces) {
            const auto growth = [&area](const QRect &piece) {
                return areaOf(piece | area) - areaOf(piece);
            };
            piece = std::min_element(
                pieces.begin(), pieces.end(),
                [&growth](const QRect &a, const QRect &b) { return growth(a) < growth(b); });
        }
        return piece == pieces.end() ? nullptr : &*piece;
    }

    // Every repaint walks every item of the scene, at about the cost of copying 80
    // pixels of background an item. In a busy scene with changes spread wide, one
    // repaint of all that changed costs less than many of its parts.
    void paintChanges()
    {
        sinceFrame.restart();
        QRect bounds;
        qint64 area = 0;
        for (QRect &piece : pieces) {
            piece &= viewport()->rect();
            bounds |= piece;
            area += areaOf(piece);
        }
        // The arena's scene keeps no index: its list of items comes as it is.
        const qint64 repaintCost = 2400 + 80 * qint64(scene() ? scene()->items().size() : 0);
        if ((pieces.size() - 1) * repaintCost > areaOf(bounds) - area)
            viewport()->repaint(bounds);
        else
            for (const QRect &piece : std::as_const(pieces))
                viewport()->repaint(piece);
        pieces.clear();
    }

    QTimer frame;
    QElapsedTimer sinceFrame;
    QList<QRect> pieces; // cleared, not freed: no allocation from frame to frame
};

#endif // VIEW_H

// SPDX-License-Identifier: GPL-3.0-or-later
#ifndef FRAMEPACER_H
#define FRAMEPACER_H

#include <QElapsedTimer>
#include <QList>
#include <QObject>
#include <QPointer>
#include <QRect>
#include <QTimer>

class QGraphicsView;

// Repaints a view's viewport at most once a screen refresh, with what its scene
// reported changed since the last frame, one rectangle at a time: under a
// rectangular clip Qt's raster engine copies pictures straight into place, while
// under a clip of several rectangles it hands every fill taller than about a
// hundred lines to its thread pool, which costs more than the fill itself at this
// size. The view itself is left to update nothing on its own.
class FramePacer : public QObject
{
    Q_OBJECT

public:
    // Paces `view` and the scene it shows now.
    explicit FramePacer(QGraphicsView *view);

    // Adds an area of the viewport to the next frame.
    void repaintLater(const QRect &area);
    // Deletes a hidden item at the end of the frame after next. By then the scene has
    // taken in the hiding and repainted its place, and removing the item asks for
    // nothing more; done sooner, it would have the whole scene repainted.
    void deleteAfterRepaint(QObject *item);

private:
    void gatherSceneChanges(const QList<QRectF> &sceneRects);
    QRect *rectToJoin(const QRect &area);
    qint64 repaintCost() const;
    void paintFrame();
    void deleteDeparted();
    void startFrame();

    QGraphicsView *view;
    QTimer frame;
    QElapsedTimer sinceFrame;
    QList<QRect> dirtyRects; // cleared, not freed: no allocation from frame to frame
    QList<QPointer<QObject>> hiddenBeforeLastFrame;
    QList<QPointer<QObject>> hiddenSinceLastFrame;
};

#endif // FRAMEPACER_H

// SPDX-License-Identifier: GPL-3.0-or-later
#ifndef FRAMEPACER_H
#define FRAMEPACER_H

#include <QElapsedTimer>
#include <QList>
#include <QObject>
#include <QPointer>
#include <QRectF>
#include <QRegion>
#include <QTimer>
#include <QTransform>

class QGraphicsView;

// Repaints a view's viewport at most once a screen refresh, with what its scene
// reported changed since the last frame, one rectangle at a time: under a
// rectangular clip Qt's raster engine copies pictures straight into place, while
// under a clip of several rectangles it hands every fill taller than about a
// hundred lines to its thread pool, which costs more than the fill itself at this
// size. When the view has scrolled, the picture on screen is moved once a frame
// and only the strips it uncovers are painted. The view itself is left to update
// nothing on its own.
class FramePacer : public QObject
{
    Q_OBJECT

public:
    // Paces `view` and the scene it shows now.
    explicit FramePacer(QGraphicsView *view);

    // Deletes a hidden item at the end of the frame after next. By then the scene has
    // taken in the hiding and repainted its place, and removing the item asks for
    // nothing more; done sooner, it would have the whole scene repainted.
    void deleteAfterRepaint(QObject *item);

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void gatherSceneChanges(const QList<QRectF> &sceneRects);
    QRectF *areaToJoin(const QRectF &changed, qint64 repaintCost);
    qint64 repaintCost() const;
    void paintFrame();
    QRegion scrollPicture();
    void repaintChanges(const QRegion &painted);
    void takeViewAsPainted();
    void deleteDeparted();
    void startFrame();

    QGraphicsView *view;
    QTimer frame;
    QElapsedTimer sinceFrame;
    bool paintingFrame = false;
    bool picturePartlyStale = false; // Qt painted part of it after a scroll we have not made
    QTransform paintedTransform;     // where the picture on screen shows the scene
    QRectF paintedArea;              // the part of the scene it shows
    // Cleared, not freed: no allocation from frame to frame.
    QList<QRectF> dirtyAreas; // in the scene, so that a scroll cannot misplace them
    QList<QRect> repaintRects;
    QList<QPointer<QObject>> hiddenBeforeLastFrame;
    QList<QPointer<QObject>> hiddenSinceLastFrame;
};

#endif // FRAMEPACER_H

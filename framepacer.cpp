// SPDX-License-Identifier: GPL-3.0-or-later
#include "framepacer.h"

#include <QGraphicsScene>
#include <QGraphicsView>
#include <QScreen>

#include <algorithm>
#include <utility>

namespace {

// Each repaint has a cost of its own, so there are at most this many a frame.
constexpr int maxRepaintsPerFrame = 16;

qint64 areaOf(const QRect &rect)
{
    return qint64(rect.width()) * rect.height();
}

} // namespace

FramePacer::FramePacer(QGraphicsView *view)
    : QObject(view)
    , view(view)
{
    view->setViewportUpdateMode(QGraphicsView::NoViewportUpdate);
    frame.setSingleShot(true);
    frame.setTimerType(Qt::PreciseTimer);
    connect(&frame, &QTimer::timeout, this, &FramePacer::paintFrame);
    sinceFrame.start();
    if (view->scene())
        connect(view->scene(), &QGraphicsScene::changed, this, &FramePacer::gatherSceneChanges);
}

void FramePacer::gatherSceneChanges(const QList<QRectF> &sceneRects)
{
    const QTransform toViewport = view->viewportTransform();
    for (const QRectF &rect : sceneRects)
        // Two pixels more on each side, for antialiased edges.
        repaintLater(toViewport.mapRect(rect).toAlignedRect().adjusted(-2, -2, 2, 2));
}

void FramePacer::repaintLater(const QRect &area)
{
    if (!area.intersects(view->viewport()->rect()))
        return;
    if (QRect *rect = rectToJoin(area))
        *rect |= area;
    else
        dirtyRects.append(area);
    startFrame();
}

void FramePacer::deleteAfterRepaint(QObject *item)
{
    hiddenSinceLastFrame.append(item);
    startFrame();
}

void FramePacer::startFrame()
{
    if (frame.isActive())
        return;
    const double screenRate = view->screen() ? view->screen()->refreshRate() : 0.0;
    const int frameMs = int(1000 / (screenRate > 0 ? screenRate : 60.0));
    frame.start(std::max(0, frameMs - int(sinceFrame.elapsed())));
}

// A moving item reports where it was and where it is: one rectangle for both. Once
// there are as many rectangles as allowed, a change joins the one it enlarges least.
QRect *FramePacer::rectToJoin(const QRect &area)
{
    auto rect = std::find_if(dirtyRects.begin(), dirtyRects.end(),
                             [&area](const QRect &rect) { return rect.intersects(area); });
    if (rect == dirtyRects.end() && dirtyRects.size() >= maxRepaintsPerFrame) {
        const auto growth = [&area](const QRect &rect) {
            return areaOf(rect | area) - areaOf(rect);
        };
        rect = std::min_element(
            dirtyRects.begin(), dirtyRects.end(),
            [&growth](const QRect &a, const QRect &b) { return growth(a) < growth(b); });
    }
    return rect == dirtyRects.end() ? nullptr : &*rect;
}

// What one repaint costs beyond its pixels, in pixels of background copied. A scene
// without an index has every repaint walk every item, at about 80 pixels an item, and
// hands over its list as it keeps it; an indexed scene finds the few items in reach.
qint64 FramePacer::repaintCost() const
{
    const QGraphicsScene *scene = view->scene();
    if (!scene || scene->itemIndexMethod() != QGraphicsScene::NoIndex)
        return 2400;
    return 2400 + 80 * qint64(scene->items().size());
}

// In a busy scene with changes spread wide, one repaint of all that changed costs
// less than many of its parts.
void FramePacer::paintFrame()
{
    sinceFrame.restart();
    QWidget *viewport = view->viewport();
    QRect bounds;
    qint64 area = 0;
    for (QRect &rect : dirtyRects) {
        rect &= viewport->rect();
        bounds |= rect;
        area += areaOf(rect);
    }
    if ((dirtyRects.size() - 1) * repaintCost() > areaOf(bounds) - area)
        viewport->repaint(bounds);
    else
        for (const QRect &rect : std::as_const(dirtyRects))
            viewport->repaint(rect);
    dirtyRects.clear();
    deleteDeparted();
}

void FramePacer::deleteDeparted()
{
    for (const QPointer<QObject> &item : std::as_const(hiddenBeforeLastFrame))
        delete item.data();
    hiddenBeforeLastFrame.clear();
    std::swap(hiddenBeforeLastFrame, hiddenSinceLastFrame);
    // A frame with nothing to paint, if need be, so that no item waits for a change.
    if (!hiddenBeforeLastFrame.isEmpty())
        startFrame();
}

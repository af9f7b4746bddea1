// SPDX-License-Identifier: GPL-3.0-or-later
#include "framepacer.h"

#include <QGraphicsScene>
#include <QGraphicsView>
#include <QPaintEvent>
#include <QScreen>
#include <QScrollBar>

#include <algorithm>
#include <utility>

namespace {

// Each repaint has a cost of its own, so there are at most this many a frame.
constexpr int maxRepaintsPerFrame = 16;

qreal areaOf(const QRectF &rect)
{
    return rect.width() * rect.height();
}

// Antialiased edges reach two pixels beyond what an item reports.
QRectF withEdges(const QRectF &rect)
{
    return rect.adjusted(-2, -2, 2, 2);
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
    for (const QScrollBar *bar : {view->horizontalScrollBar(), view->verticalScrollBar()})
        connect(bar, &QScrollBar::valueChanged, this, &FramePacer::startFrame);
    view->viewport()->installEventFilter(this);
    takeViewAsPainted();
}

void FramePacer::deleteAfterRepaint(QObject *item)
{
    hiddenSinceLastFrame.append(item);
    startFrame();
}

// Qt paints the viewport by itself as well: when it is shown, resized or grabbed. If
// the view moved since the last frame, the picture no longer fits together.
bool FramePacer::eventFilter(QObject *watched, QEvent *event)
{
    if (event->type() == QEvent::Paint && !paintingFrame &&
        view->viewportTransform() != paintedTransform) {
        picturePartlyStale = true;
        startFrame();
    }
    return QObject::eventFilter(watched, event);
}

void FramePacer::gatherSceneChanges(const QList<QRectF> &sceneRects)
{
    const qint64 cost = repaintCost();
    for (const QRectF &changed : sceneRects) {
        // Outside the picture on screen there is nothing to mend: what a scroll brings
        // into view is painted whole.
        if (!withEdges(changed).intersects(paintedArea))
            continue;
        if (QRectF *area = areaToJoin(changed, cost))
            *area |= changed;
        else
            dirtyAreas.append(changed);
        startFrame();
    }
}

void FramePacer::startFrame()
{
    if (frame.isActive())
        return;
    const double screenRate = view->screen() ? view->screen()->refreshRate() : 0.0;
    const int frameMs = int(1000 / (screenRate > 0 ? screenRate : 60.0));
    frame.start(std::max(0, frameMs - int(sinceFrame.elapsed())));
}

// A moving item reports where it was and where it is: one area for both. A change also
// joins the area where that paints the fewest pixels twice over, when these cost less
// than a repaint of its own, or when there are as many areas as allowed.
QRectF *FramePacer::areaToJoin(const QRectF &changed, qint64 repaintCost)
{
    const auto touching =
        std::find_if(dirtyAreas.begin(), dirtyAreas.end(),
                     [&changed](const QRectF &area) { return area.intersects(changed); });
    if (touching != dirtyAreas.end())
        return &*touching;
    const auto wasted = [&changed](const QRectF &area) {
        return areaOf(area | changed) - areaOf(area) - areaOf(changed);
    };
    const auto cheapest = std::min_element(
        dirtyAreas.begin(), dirtyAreas.end(),
        [&wasted](const QRectF &a, const QRectF &b) { return wasted(a) < wasted(b); });
    if (cheapest != dirtyAreas.end() &&
        (wasted(*cheapest) <= repaintCost || dirtyAreas.size() >= maxRepaintsPerFrame))
        return &*cheapest;
    return nullptr;
}

// What one repaint costs beyond its pixels, in pixels of background painted. A scene
// without an index has every repaint walk every item, at about 80 pixels an item, and
// hands over its list as it keeps it; an indexed scene finds the few items in reach.
qint64 FramePacer::repaintCost() const
{
    const QGraphicsScene *scene = view->scene();
    if (!scene || scene->itemIndexMethod() != QGraphicsScene::NoIndex)
        return 2400;
    return 2400 + 80 * qint64(scene->items().size());
}

void FramePacer::paintFrame()
{
    sinceFrame.restart();
    paintingFrame = true;
    const QRegion uncovered = scrollPicture();
    if (!uncovered.isEmpty())
        view->viewport()->repaint(uncovered);
    repaintChanges(uncovered);
    paintingFrame = false;
    takeViewAsPainted();
    deleteDeparted();
}

// Moves the picture on screen as far as the view scrolled since the last frame, and
// tells what that uncovered: moving pixels costs far less than painting them again.
QRegion FramePacer::scrollPicture()
{
    const QTransform now = view->viewportTransform();
    if (now == paintedTransform && !picturePartlyStale)
        return {};
    const QRegion whole(view->viewport()->rect());
    const QPoint step(qRound(now.dx() - paintedTransform.dx()),
                      qRound(now.dy() - paintedTransform.dy()));
    if (picturePartlyStale ||
        now != paintedTransform * QTransform::fromTranslate(step.x(), step.y()))
        return whole;
    view->viewport()->scroll(step.x(), step.y());
    return whole - whole.translated(step);
}

// In a busy scene with changes spread wide, one repaint of all that changed costs
// less than many of its parts.
void FramePacer::repaintChanges(const QRegion &painted)
{
    QWidget *viewport = view->viewport();
    const QTransform toViewport = view->viewportTransform();
    QRect bounds;
    qreal area = 0;
    for (const QRectF &changed : std::as_const(dirtyAreas)) {
        const QRect rect =
            withEdges(toViewport.mapRect(changed)).toAlignedRect() & viewport->rect();
        const auto holds = [&rect](const QRect &part) { return part.contains(rect); };
        if (rect.isEmpty() || std::any_of(painted.begin(), painted.end(), holds))
            continue;
        repaintRects.append(rect);
        bounds |= rect;
        area += areaOf(rect);
    }
    dirtyAreas.clear();
    if ((repaintRects.size() - 1) * repaintCost() > areaOf(bounds) - area)
        viewport->repaint(bounds);
    else
        for (const QRect &rect : std::as_const(repaintRects))
            viewport->repaint(rect);
    repaintRects.clear();
}

void FramePacer::takeViewAsPainted()
{
    paintedTransform = view->viewportTransform();
    paintedArea = view->mapToScene(view->viewport()->rect()).boundingRect();
    picturePartlyStale = false;
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

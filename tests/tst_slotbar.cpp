#include "client.h"
#include "mainwindow.h"
#include "view.h"

#include <QGraphicsPixmapItem>
#include <QGraphicsRectItem>
#include <QGraphicsScene>
#include <QPen>
#include <QPushButton>
#include <QTcpSocket>
#include <QTest>

// The three inventory squares in the arena's corner and the icons in them.
class TestSlotBar : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void squaresInTheBottomLeftCorner();
    void iconForItem_data();
    void iconForItem();
    void unknownItemClearsTheSlot_data();
    void unknownItemClearsTheSlot();
    void barFollowsAResizeButNotTheScroll();
    void resizeWithTheArenaClosedLeavesTheBar();
    void everyEntryStartsEmpty();

private:
    void enterArena();
    void setSlot(int itemId);
    void checkPlacement() const;

    MainWindow *window = nullptr;
};

void TestSlotBar::init()
{
    window = new MainWindow;
    window->show();
    QVERIFY(QTest::qWaitForWindowExposed(window));
    enterArena();
}

void TestSlotBar::cleanup()
{
    delete window;
}

// No server is needed; cutting the attempt keeps a server that happens to listen
// on the port from feeding this client.
void TestSlotBar::enterArena()
{
    window->findChild<QPushButton *>("connect")->click();
    window->client->socket->abort();
}

void TestSlotBar::setSlot(int itemId)
{
    QTest::ignoreMessage(QtDebugMsg,
                         qPrintable(QString("Dodano nowa bron do 1 slotu o id %1").arg(itemId)));
    emit window->client->inventoryChanged(0, itemId);
}

// Squares 10 from the viewport's left, gaps of 10, 10 above its bottom edge; each
// icon centred in its square by its own size.
void TestSlotBar::checkPlacement() const
{
    const View *view = window->view;
    const QPointF p = view->mapToScene(QPoint(0, view->viewport()->height()));
    for (int i = 0; i < 3; ++i) {
        const QPointF square(p.x() + 10 + 60 * i, p.y() - 60);
        QCOMPARE(window->slotFrames[i]->pos(), square);
        const QSize size = window->slotIcons[i]->pixmap().size();
        QCOMPARE(window->slotIcons[i]->pos(),
                 square + QPointF((50 - size.width()) / 2, (50 - size.height()) / 2));
    }
}

void TestSlotBar::squaresInTheBottomLeftCorner()
{
    const int height = window->view->viewport()->height();
    QCOMPARE(window->view->viewport()->size(), window->size());
    for (int i = 0; i < 3; ++i) {
        const QGraphicsRectItem *frame = window->slotFrames[i];
        QCOMPARE(frame->scene(), window->scene);
        QCOMPARE(frame->rect(), QRectF(0, 0, 50, 50));
        QCOMPARE(frame->pen().color(), QColor(Qt::white));
        QCOMPARE(frame->brush(), QBrush(Qt::gray));
        QCOMPARE(frame->zValue(), 9999.0);
        QCOMPARE(window->view->mapFromScene(frame->pos()), QPoint(10 + 60 * i, height - 60));

        const QGraphicsPixmapItem *icon = window->slotIcons[i];
        QCOMPARE(icon->scene(), window->scene);
        QVERIFY(icon->pixmap().isNull());
        QCOMPARE(icon->zValue(), 10000.0);
        QCOMPARE(icon->pos(), frame->pos() + QPointF(25, 25));
    }
}

void TestSlotBar::iconForItem_data()
{
    QTest::addColumn<int>("itemId");
    QTest::addColumn<QSize>("size");
    QTest::addColumn<QPointF>("offset");

    QTest::newRow("gun") << 1 << QSize(50, 50) << QPointF(0, 0);
    QTest::newRow("shotgun") << 2 << QSize(50, 12) << QPointF(0, 19);
    QTest::newRow("snipe") << 3 << QSize(50, 12) << QPointF(0, 19);
    QTest::newRow("magic wand") << 4 << QSize(50, 50) << QPointF(0, 0);
    QTest::newRow("crystal ball") << 5 << QSize(50, 50) << QPointF(0, 0);
    QTest::newRow("magic hat") << 6 << QSize(50, 50) << QPointF(0, 0);
}

void TestSlotBar::iconForItem()
{
    QFETCH(int, itemId);
    QFETCH(QSize, size);
    QFETCH(QPointF, offset);

    setSlot(itemId);
    QCOMPARE(window->slotIcons[0]->pixmap().size(), size);
    QCOMPARE(window->slotIcons[0]->pos(), window->slotFrames[0]->pos() + offset);
    QVERIFY(window->slotIcons[1]->pixmap().isNull());
    QVERIFY(window->slotIcons[2]->pixmap().isNull());
}

void TestSlotBar::unknownItemClearsTheSlot_data()
{
    QTest::addColumn<int>("itemId");
    QTest::newRow("empty") << 0;
    QTest::newRow("past the last icon") << 7;
    QTest::newRow("negative") << -1;
}

void TestSlotBar::unknownItemClearsTheSlot()
{
    QFETCH(int, itemId);
    setSlot(2);
    QVERIFY(!window->slotIcons[0]->pixmap().isNull());
    const QPointF shotgunPos = window->slotIcons[0]->pos();

    setSlot(itemId);
    QVERIFY(window->slotIcons[0]->pixmap().isNull());
    QCOMPARE(window->slotIcons[0]->pos(), shotgunPos);
}

void TestSlotBar::barFollowsAResizeButNotTheScroll()
{
    setSlot(3);
    const QPointF before = window->slotFrames[0]->pos();
    window->view->centerOn(QPointF(700, -300));
    QCOMPARE(window->slotFrames[0]->pos(), before);

    window->resize(1000, 720);
    QTRY_COMPARE(window->view->viewport()->size(), QSize(1000, 720));
    checkPlacement();
    for (int i = 0; i < 3; ++i) {
        QCOMPARE(window->view->mapFromScene(window->slotFrames[i]->pos()),
                 QPoint(10 + 60 * i, 660));
    }
    QCOMPARE(window->slotIcons[0]->pos(), window->slotFrames[0]->pos() + QPointF(0, 19));
}

void TestSlotBar::resizeWithTheArenaClosedLeavesTheBar()
{
    setSlot(2);
    const QPointF frame = window->slotFrames[2]->pos();
    const QPointF icon = window->slotIcons[0]->pos();
    const QRect viewGeometry = window->view->geometry();
    window->view->hide();

    window->resize(900, 700);
    QTRY_COMPARE(window->size(), QSize(900, 700));
    QCOMPARE(window->slotFrames[2]->pos(), frame);
    QCOMPARE(window->slotIcons[0]->pos(), icon);
    QCOMPARE(window->view->geometry(), viewGeometry);
}

void TestSlotBar::everyEntryStartsEmpty()
{
    setSlot(1);
    window->view->centerOn(QPointF(500, 500));
    enterArena();

    int squares = 0;
    for (const QGraphicsItem *item : window->scene->items())
        squares += item->type() == QGraphicsRectItem::Type;
    QCOMPARE(squares, 3);
    for (const QGraphicsPixmapItem *icon : window->slotIcons)
        QVERIFY(icon->pixmap().isNull());
    checkPlacement();
}

QTEST_MAIN(TestSlotBar)
#include "tst_slotbar.moc"

#include <QImageReader>
#include <QtTest>

// The compiled-in pictures and sounds, loaded by path as the game loads them.
class TestAssets : public QObject
{
    Q_OBJECT
private slots:
    void pictures_data()
    {
        QTest::addColumn<QSize>("size");  // the row's name is the picture's
        QTest::addColumn<int>("covered"); // percent of pixels not fully transparent
        const auto row = [](const char *name, int width, int height, int covered) {
            QTest::newRow(name) << QSize(width, height) << covered;
        };
        row("background", 1024, 576, 100);
        row("background2", 1024, 576, 100);
        row("player", 100, 100, 15);
        row("dead_player", 100, 100, 14);
        for (const char *name : {"gun", "gun2"})
            row(name, 64, 64, 20);
        for (const char *name : {"shotgun", "shotgun2"})
            row(name, 128, 32, 27);
        for (const char *name : {"snipe", "snipe2"})
            row(name, 128, 32, 25);
        row("bullet", 16, 16, 47);
        row("fireball", 50, 33, 45);
        for (const char *name : {"magicwand", "magicwand2"})
            row(name, 64, 64, 17);
        row("crystal_ball", 50, 50, 35);
        row("magichat", 64, 64, 13);
        row("tree", 60, 120, 32);
        row("tree2", 60, 60, 53);
        for (const char *name : {"flower", "flower2", "flower3", "flower4"})
            row(name, 60, 60, 5);
        row("cactus", 60, 60, 21);
        for (const char *name : {"magicbullet1", "magicbullet2", "magicbullet3", "magicbullet4"})
            row(name, 32, 32, 10);
        row("sparkle", 64, 64, 18);
        for (const char *name : {"water1", "water2", "water3"})
            row(name, 20, 20, 12);
        for (const char *name : {"tree1", "flower1"}) // named by the scenery, never drawn
            row(name, 0, 0, 0);
    }

    void pictures()
    {
        QFETCH(QSize, size);
        QFETCH(int, covered);
        const QString name = QTest::currentDataTag();
        const QImage image(":/resources/" + name + ".png");
        QCOMPARE(image.size(), size);
        int area = image.width() * image.height(), drawn = 0;
        for (int i = 0; i < area; ++i)
            drawn += qAlpha(image.pixel(i % image.width(), i / image.width())) > 0;
        QVERIFY(qAbs(100 * drawn - covered * area) <= 5 * area);
        if (QStringList{"gun", "shotgun", "snipe", "magicwand"}.contains(name)) // and aimed left
            QCOMPARE(image.mirrored(true, false), QImage(":/resources/" + name + "2.png"));
    }

    void deathAnimation()
    {
        QImageReader gif(":/resources/player_death.gif");
        int frames = 0, milliseconds = 0;
        for (; !gif.read().isNull(); ++frames)
            milliseconds += gif.nextImageDelay();
        QCOMPARE(qMakePair(frames, milliseconds), qMakePair(25, 3480));
    }

    void sounds()
    {
        for (const auto &[name, seconds] :
             {qMakePair("gun", 2.06), qMakePair("shotgun", 1.99), qMakePair("snipe", 4.06)}) {
            const auto b = QResource(QString(":/sounds/%1_shoot.wav").arg(name)).uncompressedData();
            // PCM, 2 channels, 44100 Hz, 176400 bytes a second, 4 bytes a frame, 16 bits
            QCOMPARE(b.mid(b.indexOf("fmt ") + 8, 16).toHex(), "0100020044ac000010b1020004001000");
            const double length = (b.size() - b.indexOf("data") - 8) / 176400.0; // data comes last
            QVERIFY2(qAbs(length - seconds) <= 0.01, name);
        }
    }
};

QTEST_MAIN(TestAssets)
#include "tst_assets.moc"

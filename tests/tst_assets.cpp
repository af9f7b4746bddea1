// SPDX-License-Identifier: GPL-3.0-or-later
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
        // Pictures of the same kind share their size and how much of them is drawn; those
        // that nothing in the game draws are left out.
        const auto rows = [](std::initializer_list<const char *> names, int w, int h, int covered) {
            for (const char *name : names)
                QTest::newRow(name) << QSize(w, h) << covered;
        };
        rows({"background", "background2"}, 1024, 576, 100);
        rows({"player"}, 100, 100, 15);
        rows({"dead_player"}, 100, 100, 14);
        rows({"gun", "gun2"}, 64, 64, 20);
        rows({"shotgun", "shotgun2"}, 128, 32, 27);
        rows({"snipe", "snipe2"}, 128, 32, 25);
        rows({"bullet"}, 16, 16, 47);
        rows({"fireball"}, 50, 33, 45);
        rows({"magicwand", "magicwand2"}, 64, 64, 17);
        rows({"crystal_ball"}, 50, 50, 35);
        rows({"magichat"}, 64, 64, 13);
        rows({"tree"}, 60, 120, 32);
        rows({"tree2"}, 60, 60, 53);
        rows({"flower", "flower2", "flower3", "flower4"}, 60, 60, 5);
        rows({"cactus"}, 60, 60, 21);
        rows({"tree1", "flower1"}, 0, 0, 0); // named by the scenery, never drawn
    }

    void pictures()
    {
        QFETCH(int, covered);
        const QString name = QTest::currentDataTag();
        const QImage image(":/resources/" + name + ".png");
        QTEST(image.size(), "size");
        int area = image.width() * image.height(), drawn = 0;
        for (int i = 0; i < area; ++i)
            drawn += qAlpha(image.pixel(i % image.width(), i / image.width())) > 0;
        QVERIFY(qAbs(100 * drawn - covered * area) <= 5 * area);
        if (QStringList{"gun", "shotgun", "snipe", "magicwand"}.contains(name)) // and aimed left
            QCOMPARE(image.mirrored(true, false), QImage(":/resources/" + name + "2.png"));
    }

    // The death animation, and the shot sounds: PCM, 2 channels, 44100 Hz, 16 bits (176400
    // bytes a second), their data last.
    void animationAndSounds()
    {
        QImageReader gif(":/resources/player_death.gif");
        int frames = 0, milliseconds = 0;
        for (; !gif.read().isNull(); ++frames)
            milliseconds += gif.nextImageDelay();
        QCOMPARE(qMakePair(frames, milliseconds), qMakePair(25, 3480));
        for (const auto &[name, seconds] :
             {qMakePair("gun", 2.06), qMakePair("shotgun", 1.99), qMakePair("snipe", 4.06)}) {
            const auto b = QResource(QString(":/sounds/%1_shoot.wav").arg(name)).uncompressedData();
            QCOMPARE(b.mid(b.indexOf("fmt ") + 8, 16).toHex(), "0100020044ac000010b1020004001000");
            QVERIFY2(qAbs((b.size() - b.indexOf("data") - 8) / 176400.0 - seconds) <= 0.01, name);
        }
    }
};

QTEST_MAIN(TestAssets)
#include "tst_assets.moc"

// The compiled-in pictures and sounds.
//
// Every picture loads from the compiled-in collection with its size and its share
// of covered pixels, the mirrored weapon pictures are exact mirrors, the two paths
// that the code names without a file give null pixmaps, the death animation has
// its 25 frames and 3.48 s, and the sounds are 16-bit stereo PCM at 44100 Hz of
// the catalogued lengths.

#include <QDirIterator>
#include <QFile>
#include <QImage>
#include <QImageReader>
#include <QMovie>
#include <QPixmap>
#include <QSet>
#include <QtEndian>
#include <QtTest>

namespace {

struct Picture {
    const char *path;
    int width;
    int height;
    double covered; // share of pixels with alpha > 0; 1.0 for the opaque backgrounds
};

const Picture kPictures[] = {
    {":/resources/background.png", 1024, 576, 1.00},
    {":/resources/background2.png", 1024, 576, 1.00},
    {":/resources/player.png", 100, 100, 0.15},
    {":/resources/dead_player.png", 100, 100, 0.14},
    {":/resources/gun.png", 64, 64, 0.20},
    {":/resources/gun2.png", 64, 64, 0.20},
    {":/resources/shotgun.png", 128, 32, 0.27},
    {":/resources/shotgun2.png", 128, 32, 0.27},
    {":/resources/snipe.png", 128, 32, 0.25},
    {":/resources/snipe2.png", 128, 32, 0.25},
    {":/resources/bullet.png", 16, 16, 0.47},
    {":/resources/fireball.png", 50, 33, 0.45},
    {":/resources/magicwand.png", 64, 64, 0.17},
    {":/resources/crystal_ball.png", 50, 50, 0.35},
    {":/resources/magichat.png", 64, 64, 0.13},
    {":/resources/tree.png", 60, 120, 0.32},
    {":/resources/tree2.png", 60, 60, 0.53},
    {":/resources/flower.png", 60, 60, 0.05},
    {":/resources/flower2.png", 60, 60, 0.05},
    {":/resources/flower3.png", 60, 60, 0.05},
    {":/resources/flower4.png", 60, 60, 0.05},
    {":/resources/cactus.png", 60, 60, 0.21},
    {":/resources/magicwand2.png", 64, 64, 0.17},
    {":/resources/magicbullet1.png", 32, 32, 0.10},
    {":/resources/magicbullet2.png", 32, 32, 0.10},
    {":/resources/magicbullet3.png", 32, 32, 0.10},
    {":/resources/magicbullet4.png", 32, 32, 0.10},
    {":/resources/sparkle.png", 64, 64, 0.18},
    {":/resources/water1.png", 20, 20, 0.12},
    {":/resources/water2.png", 20, 20, 0.12},
    {":/resources/water3.png", 20, 20, 0.12},
};

const char *const kGif = ":/resources/player_death.gif";

struct Sound {
    const char *path;
    double seconds;
};

const Sound kSounds[] = {
    {":/sounds/gun_shoot.wav", 2.06},
    {":/sounds/shotgun_shoot.wav", 1.99},
    {":/sounds/snipe_shoot.wav", 4.06},
};

bool isBackground(const QString &path)
{
    return path.startsWith(QLatin1String(":/resources/background"));
}

double coveredShare(const QImage &image)
{
    const QImage img = image.convertToFormat(QImage::Format_ARGB32);
    qint64 covered = 0;
    for (int y = 0; y < img.height(); ++y) {
        const QRgb *line = reinterpret_cast<const QRgb *>(img.constScanLine(y));
        for (int x = 0; x < img.width(); ++x)
            if (qAlpha(line[x]) > 0)
                ++covered;
    }
    return double(covered) / (double(img.width()) * img.height());
}

// Mean absolute difference of the colour channels between column a and column b
// (or rows, when vertical is false).
double lineDifference(const QImage &img, bool columns, int a, int b)
{
    const int n = columns ? img.height() : img.width();
    double sum = 0;
    for (int i = 0; i < n; ++i) {
        const QRgb p = columns ? img.pixel(a, i) : img.pixel(i, a);
        const QRgb q = columns ? img.pixel(b, i) : img.pixel(i, b);
        sum += qAbs(qRed(p) - qRed(q)) + qAbs(qGreen(p) - qGreen(q)) + qAbs(qBlue(p) - qBlue(q));
    }
    return sum / n;
}

QByteArray readAll(const QString &path)
{
    QFile f(path);
    if (!f.open(QIODevice::ReadOnly))
        return {};
    return f.readAll();
}

quint16 le16(const QByteArray &b, qsizetype at)
{
    return qFromLittleEndian<quint16>(b.constData() + at);
}

quint32 le32(const QByteArray &b, qsizetype at)
{
    return qFromLittleEndian<quint32>(b.constData() + at);
}

} // namespace

class TestAssets : public QObject
{
    Q_OBJECT

private slots:
    void pictures_data();
    void pictures();
    void pngFormat_data();
    void pngFormat();
    void transparentSurround_data();
    void transparentSurround();
    void mirrors_data();
    void mirrors();
    void absentPaths_data();
    void absentPaths();
    void deadPlayerIsSemiTransparent();
    void backgroundsTile_data();
    void backgroundsTile();
    void deathAnimation();
    void deathAnimationThroughMovie();
    void sounds_data();
    void sounds();
    void catalogueIsComplete();
};

void TestAssets::pictures_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<int>("width");
    QTest::addColumn<int>("height");
    QTest::addColumn<double>("covered");
    for (const Picture &p : kPictures)
        QTest::newRow(p.path) << QString::fromLatin1(p.path) << p.width << p.height << p.covered;
}

void TestAssets::pictures()
{
    QFETCH(QString, path);
    QFETCH(int, width);
    QFETCH(int, height);
    QFETCH(double, covered);

    const QImage image(path);
    QVERIFY2(!image.isNull(), qPrintable(path));
    QCOMPARE(image.size(), QSize(width, height));
    QVERIFY(image.hasAlphaChannel());

    const QPixmap pixmap(path);
    QVERIFY(!pixmap.isNull());
    QCOMPARE(pixmap.size(), QSize(width, height));

    const double share = coveredShare(image);
    QVERIFY2(qAbs(share - covered) <= 0.05,
             qPrintable(QStringLiteral("%1 covers %2%, catalogue %3%")
                            .arg(path)
                            .arg(share * 100, 0, 'f', 1)
                            .arg(covered * 100, 0, 'f', 0)));
    if (isBackground(path)) {
        const QImage argb = image.convertToFormat(QImage::Format_ARGB32);
        for (int y = 0; y < argb.height(); ++y)
            for (int x = 0; x < argb.width(); ++x)
                if (qAlpha(argb.pixel(x, y)) != 255)
                    QFAIL(qPrintable(QStringLiteral("%1 not opaque at %2,%3").arg(path).arg(x).arg(y)));
    }
}

void TestAssets::pngFormat_data()
{
    QTest::addColumn<QString>("path");
    for (const Picture &p : kPictures)
        QTest::newRow(p.path) << QString::fromLatin1(p.path);
}

// 8 bits per channel with an alpha channel: the PNG header says colour type 6
// (truecolour with alpha) at bit depth 8, and Qt loads it as ARGB32.
void TestAssets::pngFormat()
{
    QFETCH(QString, path);
    const QByteArray bytes = readAll(path);
    QVERIFY(bytes.size() > 33);
    QVERIFY(bytes.startsWith("\x89PNG\r\n\x1a\n"));
    QCOMPARE(bytes.mid(12, 4), QByteArray("IHDR"));
    QCOMPARE(int(quint8(bytes.at(24))), 8); // bit depth
    QCOMPARE(int(quint8(bytes.at(25))), 6); // colour type RGBA
    QImageReader reader(path);
    QCOMPARE(reader.format(), QByteArray("png"));
    QCOMPARE(reader.read().format(), QImage::Format_ARGB32);
}

void TestAssets::transparentSurround_data()
{
    QTest::addColumn<QString>("path");
    for (const Picture &p : kPictures)
        if (!isBackground(QString::fromLatin1(p.path)))
            QTest::newRow(p.path) << QString::fromLatin1(p.path);
}

// Items are drawn as they are, and collisions follow the alpha channel: every
// picture but the backgrounds has a transparent rim all round.
void TestAssets::transparentSurround()
{
    QFETCH(QString, path);
    const QImage img = QImage(path).convertToFormat(QImage::Format_ARGB32);
    QVERIFY(!img.isNull());
    for (int x = 0; x < img.width(); ++x) {
        QCOMPARE(qAlpha(img.pixel(x, 0)), 0);
        QCOMPARE(qAlpha(img.pixel(x, img.height() - 1)), 0);
    }
    for (int y = 0; y < img.height(); ++y) {
        QCOMPARE(qAlpha(img.pixel(0, y)), 0);
        QCOMPARE(qAlpha(img.pixel(img.width() - 1, y)), 0);
    }
}

void TestAssets::mirrors_data()
{
    QTest::addColumn<QString>("right");
    QTest::addColumn<QString>("left");
    QTest::newRow("gun") << ":/resources/gun.png" << ":/resources/gun2.png";
    QTest::newRow("shotgun") << ":/resources/shotgun.png" << ":/resources/shotgun2.png";
    QTest::newRow("snipe") << ":/resources/snipe.png" << ":/resources/snipe2.png";
    QTest::newRow("magicwand") << ":/resources/magicwand.png" << ":/resources/magicwand2.png";
}

void TestAssets::mirrors()
{
    QFETCH(QString, right);
    QFETCH(QString, left);
    const QImage r = QImage(right).convertToFormat(QImage::Format_ARGB32);
    const QImage l = QImage(left).convertToFormat(QImage::Format_ARGB32);
    QVERIFY(!r.isNull());
    QVERIFY(!l.isNull());
    QCOMPARE(l.size(), r.size());
    QVERIFY(l == r.mirrored(true, false));
    QVERIFY(l != r); // a mirror that equals its original would show nothing of the aim
}

void TestAssets::absentPaths_data()
{
    QTest::addColumn<QString>("path");
    QTest::newRow("tree1") << ":/resources/tree1.png";
    QTest::newRow("flower1") << ":/resources/flower1.png";
}

void TestAssets::absentPaths()
{
    QFETCH(QString, path);
    QVERIFY(!QFile::exists(path));
    const QPixmap pixmap(path);
    QVERIFY(pixmap.isNull());
    QCOMPARE(pixmap.size(), QSize(0, 0));
}

void TestAssets::deadPlayerIsSemiTransparent()
{
    const QImage img = QImage(":/resources/dead_player.png").convertToFormat(QImage::Format_ARGB32);
    QVERIFY(!img.isNull());
    int drawn = 0;
    for (int y = 0; y < img.height(); ++y)
        for (int x = 0; x < img.width(); ++x) {
            const int a = qAlpha(img.pixel(x, y));
            if (a == 0)
                continue;
            ++drawn;
            QVERIFY2(a < 255, qPrintable(QStringLiteral("opaque pixel at %1,%2").arg(x).arg(y)));
        }
    QVERIFY(drawn > 0);
}

void TestAssets::backgroundsTile_data()
{
    QTest::addColumn<QString>("path");
    QTest::newRow("background") << ":/resources/background.png";
    QTest::newRow("background2") << ":/resources/background2.png";
}

// The backgrounds are tiling brushes: across the joins (last column to first,
// last row to first) the picture changes no more than between neighbours inside.
void TestAssets::backgroundsTile()
{
    QFETCH(QString, path);
    const QImage img = QImage(path).convertToFormat(QImage::Format_ARGB32);
    QVERIFY(!img.isNull());
    for (bool columns : {true, false}) {
        const int n = columns ? img.width() : img.height();
        double inside = 0;
        int count = 0;
        for (int i = 0; i + 1 < n; i += 7) {
            inside += lineDifference(img, columns, i, i + 1);
            ++count;
        }
        inside /= count;
        const double join = lineDifference(img, columns, n - 1, 0);
        QVERIFY2(join <= 2.0 * inside + 1.0,
                 qPrintable(QStringLiteral("%1 %2 join %3, inside %4")
                                .arg(path, columns ? "column" : "row")
                                .arg(join)
                                .arg(inside)));
    }
}

void TestAssets::deathAnimation()
{
    const QByteArray bytes = readAll(kGif);
    QVERIFY(bytes.startsWith("GIF89a"));
    QCOMPARE(le16(bytes, 6), quint16(100));
    QCOMPARE(le16(bytes, 8), quint16(100));
    // no loop count: neither the NETSCAPE nor the ANIMEXTS application extension
    QVERIFY(!bytes.contains("NETSCAPE2.0"));
    QVERIFY(!bytes.contains("ANIMEXTS1.0"));

    QImageReader reader(kGif);
    QCOMPARE(reader.format(), QByteArray("gif"));
    QVERIFY(reader.supportsAnimation());
    QCOMPARE(reader.size(), QSize(100, 100));
    QCOMPARE(reader.loopCount(), 0);
    int frames = 0;
    int total = 0;
    while (reader.canRead()) {
        const QImage frame = reader.read();
        if (frame.isNull())
            break;
        QCOMPARE(frame.size(), QSize(100, 100));
        QVERIFY(frame.hasAlphaChannel());
        QVERIFY(reader.nextImageDelay() > 0);
        total += reader.nextImageDelay();
        ++frames;
    }
    QCOMPARE(frames, 25);
    QCOMPARE(total, 3480);
}

void TestAssets::deathAnimationThroughMovie()
{
    QMovie movie(kGif);
    QVERIFY(movie.isValid());
    QCOMPARE(movie.frameCount(), 25);
    QVERIFY(movie.jumpToFrame(0));
    QCOMPARE(movie.currentImage().size(), QSize(100, 100));
    movie.setScaledSize(QSize(200, 200));
    QVERIFY(movie.jumpToFrame(1));
    QCOMPARE(movie.currentPixmap().size(), QSize(200, 200));
}

void TestAssets::sounds_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<double>("seconds");
    for (const Sound &s : kSounds)
        QTest::newRow(s.path) << QString::fromLatin1(s.path) << s.seconds;
}

void TestAssets::sounds()
{
    QFETCH(QString, path);
    QFETCH(double, seconds);
    const QByteArray b = readAll(path);
    QVERIFY2(b.size() > 44, qPrintable(path));
    QCOMPARE(b.left(4), QByteArray("RIFF"));
    QCOMPARE(qsizetype(le32(b, 4)), b.size() - 8);
    QCOMPARE(b.mid(8, 4), QByteArray("WAVE"));

    bool haveFormat = false;
    qint64 dataBytes = -1;
    qsizetype dataStart = -1;
    qsizetype at = 12;
    while (at + 8 <= b.size()) {
        const QByteArray id = b.mid(at, 4);
        const quint32 size = le32(b, at + 4);
        const qsizetype body = at + 8;
        QVERIFY(body + qsizetype(size) <= b.size());
        if (id == "fmt ") {
            QVERIFY(size >= 16);
            QCOMPARE(le16(b, body), quint16(1));          // PCM
            QCOMPARE(le16(b, body + 2), quint16(2));      // channels
            QCOMPARE(le32(b, body + 4), quint32(44100));  // sample rate
            QCOMPARE(le32(b, body + 8), quint32(176400)); // bytes per second
            QCOMPARE(le16(b, body + 12), quint16(4));     // block align
            QCOMPARE(le16(b, body + 14), quint16(16));    // bits per sample
            haveFormat = true;
        } else if (id == "data") {
            QVERIFY(haveFormat);
            dataBytes = size;
            dataStart = body;
        }
        at = body + size + (size & 1);
    }
    QVERIFY(haveFormat);
    QVERIFY(dataBytes > 0);
    QCOMPARE(dataBytes % 4, 0);
    const double length = double(dataBytes / 4) / 44100.0;
    QVERIFY2(qAbs(length - seconds) <= 0.01,
             qPrintable(QStringLiteral("%1 lasts %2 s").arg(path).arg(length)));

    // peak below full scale: the loudest sample leaves headroom
    int peak = 0;
    for (qsizetype i = dataStart; i + 1 < dataStart + dataBytes; i += 2)
        peak = qMax(peak, qAbs(int(qFromLittleEndian<qint16>(b.constData() + i))));
    QVERIFY(peak > 1000);
    QVERIFY(peak < 32767);
}

void TestAssets::catalogueIsComplete()
{
    QSet<QString> expected;
    for (const Picture &p : kPictures)
        expected.insert(QString::fromLatin1(p.path));
    expected.insert(QString::fromLatin1(kGif));
    for (const Sound &s : kSounds)
        expected.insert(QString::fromLatin1(s.path));
    QCOMPARE(expected.size(), 35);

    QSet<QString> found;
    for (const char *root : {":/resources", ":/sounds"}) {
        QDirIterator it(QString::fromLatin1(root), QDir::Files, QDirIterator::Subdirectories);
        while (it.hasNext())
            found.insert(it.next());
    }
    QCOMPARE(found, expected);
}

QTEST_MAIN(TestAssets)
#include "tst_assets.moc"

#include "../support/FakePlatform.h"
#include "../support/IconBuilder.h"
#include "../support/KvProgramIconProviderProbe.h"
#include "../support/LogCatcher.h"

#include <QtCore/QRegularExpression>
#include <QtCore/QTemporaryDir>
#include <QtTest/QTest>

#include <memory>

using namespace Qt::StringLiterals;
using Probe = KvProgramIconProviderProbe;

namespace {

constexpr QRgb Red = 0xFFFF0000;
constexpr QRgb Green = 0xFF00FF00;
constexpr QRgb Blue = 0xFF0000FF;

const QString Path = u"C:/Apps/a.exe"_s;
const QString NativePath = u"C:\\Apps\\a.exe"_s;

QImage plain(int side, QRgb colour)
{
    QImage image(side, side, QImage::Format_ARGB32);
    image.fill(colour);
    return image;
}

/** A small icon as the shell puts it into the large square. */
QImage inCorner(int side, QRgb colour)
{
    QImage image = plain(256, 0);
    for (int y = 0; y < side; ++y) {
        for (int x = 0; x < side; ++x)
            image.setPixel(x, y, colour);
    }
    return image;
}

} // namespace

class tst_IconLoaders : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { m_platform = std::make_unique<FakePlatform>(); }
    void cleanup() { m_platform.reset(); }

    void sizesAreRoundedHalfAwayFromZero_data();
    void sizesAreRoundedHalfAwayFromZero();

    void pathDecidesTheLoader_data();
    void pathDecidesTheLoader();
    void indexIsNotPassedToIconFiles();
    void folderCalledUnicornIsReadAsAnIconFile();
    void nothingDelivers();

    void fullSquareIsReturnedWhole();
    void smallIconIsCutOut_data();
    void smallIconIsCutOut();
    void largeSquareIsLeftAloneByItsRows();
    void sourcesAreAskedInOrder();
    void deliveringSourceEndsTheSearch();
    void indexGoesToTheSourcesThatTakeIt_data();
    void indexGoesToTheSourcesThatTakeIt();
    void extractedIconIsNotCut();

    void widePicturesAreScaledDown_data();
    void widePicturesAreScaledDown();

    void iconFileGivesTheNearest_data();
    void iconFileGivesTheNearest();
    void iconFileIsReadNoFurther();
    void iconFileThatCannotBeRead_data();
    void iconFileThatCannotBeRead();
    void iconFileMayBeAnyPicture();
    void iconFileIsFoundThroughTheMachinesFiles();
    void iconFileWithMany();

private:
    QString write(const QString &name, const QByteArray &content) const;
    QStringList iconCalls() const;

    std::unique_ptr<FakePlatform> m_platform;
    QTemporaryDir m_folder;
};

QString tst_IconLoaders::write(const QString &name, const QByteArray &content) const
{
    QFile file(m_folder.filePath(name));
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size())
        qFatal("can't write %s", qPrintable(file.fileName()));
    return file.fileName();
}

QStringList tst_IconLoaders::iconCalls() const
{
    return m_platform->calls->take();
}

void tst_IconLoaders::sizesAreRoundedHalfAwayFromZero_data()
{
    QTest::addColumn<double>("scale");
    QTest::addColumn<int>("size");
    QTest::addColumn<int>("expected");
    QTest::newRow("1") << 1.0 << 48 << 48;
    QTest::newRow("1.25") << 1.25 << 100 << 125;
    QTest::newRow("1.5") << 1.5 << 48 << 72;
    QTest::newRow("half upwards") << 1.25 << 2 << 3;
    QTest::newRow("half of an odd size") << 0.5 << 5 << 3;
    QTest::newRow("below half") << 1.1 << 4 << 4;
    QTest::newRow("above half") << 1.15 << 4 << 5;
    QTest::newRow("3") << 3.0 << 100 << 300;
}

void tst_IconLoaders::sizesAreRoundedHalfAwayFromZero()
{
    QFETCH(double, scale);
    QFETCH(int, size);
    QTEST(Probe::scaled(scale, size), "expected");
}

void tst_IconLoaders::pathDecidesTheLoader_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("firstCall");
    QTest::newRow("program") << u"C:/Apps/a.exe"_s << u"largest C:\\Apps\\a.exe"_s;
    QTest::newRow("icon file") << u"C:/none/a.ico"_s << QString();
    QTest::newRow("capitals") << u"C:/none/app.ICO"_s << u"largest C:\\none\\app.ICO"_s;
    QTest::newRow("mixed") << u"C:/none/app.Ico"_s << u"largest C:\\none\\app.Ico"_s;
    QTest::newRow("letters in a folder") << u"C:/Unicorn/a.exe"_s << QString();
    QTest::newRow("letters in a file") << u"C:/none/silicon.exe"_s << QString();
    QTest::newRow("letters at the start") << u"icons/a.exe"_s << QString();
    QTest::newRow("letters apart") << u"C:/none/i.co"_s << u"largest C:\\none\\i.co"_s;
    QTest::newRow("package") << u"uwp:Some.Package_1.0_x64__abc"_s << QString();
    QTest::newRow("package with the letters") << u"uwp:Some.Unicorn"_s << QString();
    QTest::newRow("package without a name") << u"uwp:"_s << QString();
    QTest::newRow("package in capitals") << u"UWP:x"_s << u"largest UWP:x"_s;
    QTest::newRow("package without a colon") << u"uwp"_s << u"largest uwp"_s;
    QTest::newRow("package further on") << u"C:/uwp:x"_s << u"largest C:\\uwp:x"_s;
    QTest::newRow("empty") << QString() << u"largest "_s;
}

void tst_IconLoaders::pathDecidesTheLoader()
{
    QFETCH(QString, path);
    QVERIFY(Probe::loadAppIcon(path).isNull());
    const QStringList calls = iconCalls().filter(QRegularExpression(u"^(largest|extract|associated) "_s));
    QTEST(calls.value(0), "firstCall");
}

void tst_IconLoaders::indexIsNotPassedToIconFiles()
{
    const QString file =
        write(u"two.ico"_s, IconBuilder::file({IconBuilder::plain(16, Red), IconBuilder::plain(32, Blue)}));
    for (const int index : {0, 1, 7})
        QCOMPARE(Probe::loadAppIcon(file, index).width(), 32);
}

void tst_IconLoaders::folderCalledUnicornIsReadAsAnIconFile()
{
    m_platform->icons->always = plain(256, Red);
    QVERIFY(Probe::loadAppIcon(u"C:/Unicorn/a.exe"_s).isNull());
    QVERIFY(!Probe::loadAppIcon(u"C:/Horse/a.exe"_s).isNull());
}

void tst_IconLoaders::nothingDelivers()
{
    const LogCatcher log;
    QVERIFY(Probe::loadAppIcon(Path).isNull());
    QCOMPARE(iconCalls(), (QStringList{u"largest C:\\Apps\\a.exe"_s, u"extract C:\\Apps\\a.exe 0"_s,
                                       u"associated C:\\Apps\\a.exe 0"_s}));
    QVERIFY(log.lines().isEmpty());
}

void tst_IconLoaders::fullSquareIsReturnedWhole()
{
    const QImage icon = plain(256, Green);
    m_platform->icons->largest.insert(NativePath, icon);
    for (const double scale : {1.0, 2.0, 3.0})
        QCOMPARE(Probe::loadDesktopAppIcon(Path, 0, scale), icon);
    QCOMPARE(iconCalls().size(), 3);
}

void tst_IconLoaders::smallIconIsCutOut_data()
{
    QTest::addColumn<int>("icon");
    QTest::addColumn<double>("scale");
    QTest::addColumn<int>("expected");
    QTest::newRow("32 at 1") << 32 << 1.0 << 48;
    QTest::newRow("48 at 1") << 48 << 1.0 << 48;
    QTest::newRow("16 at 1") << 16 << 1.0 << 48;
    QTest::newRow("32 at 1.25") << 32 << 1.25 << 60;
    QTest::newRow("32 at 1.5") << 32 << 1.5 << 72;
    QTest::newRow("48 at 2") << 48 << 2.0 << 96;
    QTest::newRow("48 at 3") << 48 << 3.0 << 144;
    QTest::newRow("half of the square") << 128 << 1.0 << 48;
    QTest::newRow("beyond the square") << 48 << 6.0 << 288;
}

void tst_IconLoaders::smallIconIsCutOut()
{
    QFETCH(int, icon);
    QFETCH(double, scale);
    QFETCH(int, expected);
    m_platform->icons->largest.insert(NativePath, inCorner(icon, Blue));
    const QImage image = Probe::loadDesktopAppIcon(Path, 0, scale);
    QCOMPARE(image.size(), QSize(expected, expected));
    for (int y = 0; y < expected; ++y) {
        for (int x = 0; x < expected; ++x)
            QCOMPARE(image.pixel(x, y), x < icon && y < icon ? Blue : QRgb(0));
    }
    // It is never wider than 100 logical pixels.
    QCOMPARE(Probe::loadAppIcon(Path, 0, scale), image);
}

void tst_IconLoaders::largeSquareIsLeftAloneByItsRows()
{
    // One row of 129 pixels makes it a large icon, whatever the rest looks like.
    QImage icon = plain(256, 0);
    for (int x = 100; x < 229; ++x)
        icon.setPixel(x, 200, Red);
    m_platform->icons->largest.insert(NativePath, icon);
    QCOMPARE(Probe::loadDesktopAppIcon(Path), icon);
    icon.setPixel(100, 200, 0);
    m_platform->icons->largest.insert(NativePath, icon);
    QCOMPARE(Probe::loadDesktopAppIcon(Path).width(), 48);
}

void tst_IconLoaders::sourcesAreAskedInOrder()
{
    m_platform->icons->associated.insert(NativePath, plain(32, Red));
    QCOMPARE(Probe::loadDesktopAppIcon(Path), plain(32, Red));
    m_platform->icons->extracted.insert({NativePath, 0}, plain(32, Green));
    QCOMPARE(Probe::loadDesktopAppIcon(Path), plain(32, Green));
    m_platform->icons->largest.insert(NativePath, plain(256, Blue));
    QCOMPARE(Probe::loadDesktopAppIcon(Path), plain(256, Blue));
    QCOMPARE(iconCalls(), (QStringList{u"largest C:\\Apps\\a.exe"_s, u"extract C:\\Apps\\a.exe 0"_s,
                                       u"associated C:\\Apps\\a.exe 0"_s, u"largest C:\\Apps\\a.exe"_s,
                                       u"extract C:\\Apps\\a.exe 0"_s, u"largest C:\\Apps\\a.exe"_s}));
}

void tst_IconLoaders::deliveringSourceEndsTheSearch()
{
    // A source may deliver what turns out to be no image.
    m_platform->icons->associated.insert(NativePath, plain(32, Red));
    m_platform->icons->extracted.insert({NativePath, 0}, QImage());
    QVERIFY(Probe::loadAppIcon(Path).isNull());
    QCOMPARE(iconCalls().size(), 2);
    m_platform->icons->largest.insert(NativePath, QImage());
    QVERIFY(Probe::loadAppIcon(Path).isNull());
    QCOMPARE(iconCalls().size(), 1);
}

void tst_IconLoaders::indexGoesToTheSourcesThatTakeIt_data()
{
    QTest::addColumn<int>("index");
    QTest::addColumn<QString>("extract");
    QTest::addColumn<QString>("associated");
    QTest::newRow("7") << 7 << u"extract C:\\Apps\\a.exe 7"_s << u"associated C:\\Apps\\a.exe 7"_s;
    QTest::newRow("negative") << -1 << u"extract C:\\Apps\\a.exe -1"_s << u"associated C:\\Apps\\a.exe 65535"_s;
    QTest::newRow("beyond 16 bits") << 65538 << u"extract C:\\Apps\\a.exe 65538"_s << u"associated C:\\Apps\\a.exe 2"_s;
}

void tst_IconLoaders::indexGoesToTheSourcesThatTakeIt()
{
    QFETCH(int, index);
    QVERIFY(Probe::loadAppIcon(Path, index).isNull());
    const QStringList calls = iconCalls();
    QCOMPARE(calls.size(), 3);
    QCOMPARE(calls.at(0), u"largest C:\\Apps\\a.exe"_s);
    QTEST(calls.at(1), "extract");
    QTEST(calls.at(2), "associated");
}

void tst_IconLoaders::extractedIconIsNotCut()
{
    m_platform->icons->extracted.insert({NativePath, 3}, inCorner(32, Red));
    QCOMPARE(Probe::loadDesktopAppIcon(Path, 3), inCorner(32, Red));
    m_platform->icons->extracted.clear();
    m_platform->icons->associated.insert(NativePath, inCorner(32, Green));
    QCOMPARE(Probe::loadDesktopAppIcon(Path, 3), inCorner(32, Green));
}

void tst_IconLoaders::widePicturesAreScaledDown_data()
{
    QTest::addColumn<QSize>("size");
    QTest::addColumn<double>("scale");
    QTest::addColumn<QSize>("expected");
    QTest::newRow("256 at 1") << QSize(256, 256) << 1.0 << QSize(100, 100);
    QTest::newRow("256 at 1.25") << QSize(256, 256) << 1.25 << QSize(125, 125);
    QTest::newRow("256 at 1.5") << QSize(256, 256) << 1.5 << QSize(150, 150);
    QTest::newRow("256 at 2") << QSize(256, 256) << 2.0 << QSize(200, 200);
    QTest::newRow("256 at 3") << QSize(256, 256) << 3.0 << QSize(256, 256);
    QTest::newRow("just too wide") << QSize(101, 101) << 1.0 << QSize(100, 100);
    QTest::newRow("as wide as it may be") << QSize(100, 100) << 1.0 << QSize(100, 100);
    QTest::newRow("small") << QSize(32, 32) << 3.0 << QSize(32, 32);
    QTest::newRow("high and not wide") << QSize(64, 500) << 1.0 << QSize(64, 500);
    QTest::newRow("wide and not high") << QSize(200, 100) << 1.0 << QSize(100, 50);
}

void tst_IconLoaders::widePicturesAreScaledDown()
{
    QFETCH(QSize, size);
    QFETCH(double, scale);
    QFETCH(QSize, expected);
    // Black and white columns in turn: what is scaled smoothly down from them is grey.
    QImage icon(size, QImage::Format_ARGB32);
    for (int y = 0; y < icon.height(); ++y) {
        for (int x = 0; x < icon.width(); ++x)
            icon.setPixel(x, y, x % 2 == 0 ? 0xFF000000 : 0xFFFFFFFF);
    }
    m_platform->icons->largest.insert(NativePath, icon);
    const QImage image = Probe::loadAppIcon(Path, 0, scale);
    QCOMPARE(image.size(), expected);
    if (size == expected) {
        QCOMPARE(image, icon);
    } else {
        QCOMPARE(image, icon.scaledToWidth(expected.width(), Qt::SmoothTransformation));
        QVERIFY(image != icon.scaledToWidth(expected.width()));
    }
}

void tst_IconLoaders::iconFileGivesTheNearest_data()
{
    QTest::addColumn<QList<int>>("sides");
    QTest::addColumn<int>("size");
    QTest::addColumn<int>("expected");
    QTest::newRow("32 of 16, 32, 256") << QList<int>{16, 32, 256} << 64 << 1;
    QTest::newRow("the first of 48 and 80") << QList<int>{48, 80} << 64 << 0;
    QTest::newRow("the first of 80 and 48") << QList<int>{80, 48} << 64 << 0;
    QTest::newRow("exactly") << QList<int>{48, 64, 80} << 64 << 1;
    QTest::newRow("the first of two alike") << QList<int>{32, 32} << 64 << 0;
    QTest::newRow("the only one") << QList<int>{16} << 64 << 0;
    QTest::newRow("the nearest comes last") << QList<int>{16, 24, 32, 48, 60} << 64 << 4;
    QTest::newRow("998 away") << QList<int>{16} << 1014 << 0;
    QTest::newRow("999 away") << QList<int>{16} << 1015 << -1;
}

void tst_IconLoaders::iconFileGivesTheNearest()
{
    QFETCH(QList<int>, sides);
    QFETCH(int, size);
    QFETCH(int, expected);
    QList<PeBuilder::IconImage> images;
    for (qsizetype i = 0; i < sides.size(); ++i)
        images.append(IconBuilder::plain(sides.at(i), 0xFF000000 + quint32(i)));
    const QImage image = Probe::loadIcoAppIcon(write(u"x.ico"_s, IconBuilder::file(images)), size);
    QCOMPARE(image.isNull(), expected < 0);
    if (expected >= 0) {
        QCOMPARE(image.size(), QSize(sides.at(expected), sides.at(expected)));
        QCOMPARE(image.pixel(0, 0), 0xFF000000 + QRgb(expected));
    }
}

void tst_IconLoaders::iconFileIsReadNoFurther()
{
    // The second of the two is of the same size and would be taken if the scan went on.
    const QString file =
        write(u"two.ico"_s, IconBuilder::file({IconBuilder::plain(64, Red), IconBuilder::plain(64, Blue)}));
    QCOMPARE(Probe::loadIcoAppIcon(file, 64).pixel(0, 0), Red);
}

void tst_IconLoaders::iconFileThatCannotBeRead_data()
{
    QTest::addColumn<QByteArray>("content");
    const QByteArray good = IconBuilder::file({IconBuilder::plain(32, Red)});
    QTest::newRow("empty") << QByteArray();
    QTest::newRow("text") << QByteArray("this is no icon");
    QTest::newRow("no images") << IconBuilder::file({});
    QTest::newRow("only the directory") << good.left(22);
    QTest::newRow("half of the header") << good.left(3);
    DibBuilder huge = DibBuilder::plain(1, Red);
    huge.width = 65535;
    huge.height = 2 * 65535;
    QTest::newRow("65,535 x 65,535") << IconBuilder::file({{255, 255, 32, huge.build()}});
}

void tst_IconLoaders::iconFileThatCannotBeRead()
{
    QFETCH(QByteArray, content);
    const LogCatcher log; // The reader may warn.
    const QString file = write(u"bad.ico"_s, content);
    QVERIFY(Probe::loadIcoAppIcon(file, 64).isNull());
    QVERIFY(Probe::loadIcoAppIcon(m_folder.filePath(u"none.ico"_s), 64).isNull());
}

void tst_IconLoaders::iconFileMayBeAnyPicture()
{
    const QString file = write(u"picture-ico.png"_s, IconBuilder::plainPng(300, Green));
    QCOMPARE(Probe::loadIcoAppIcon(file, 64).width(), 300);
    QCOMPARE(Probe::loadAppIcon(file).width(), 100);
    QCOMPARE(Probe::loadAppIcon(file, 0, 2).width(), 200);
    QVERIFY(iconCalls().isEmpty());
}

void tst_IconLoaders::iconFileIsFoundThroughTheMachinesFiles()
{
    class MovedFiles final : public KvPlatform::Files
    {
    public:
        QString there;
        QString hostPath(const QString &path) const override { return path == u"C:/a.ico"_s ? there : path; }
    };
    const auto files = std::make_shared<MovedFiles>();
    files->there = write(u"moved.ico"_s, IconBuilder::file({IconBuilder::plain(32, Red)}));
    const auto platform = std::make_shared<KvPlatform::Platform>();
    platform->files = files;
    KvPlatform::Platform::setCurrent(platform);
    QCOMPARE(Probe::loadAppIcon(u"C:/a.ico"_s).width(), 32);
}

void tst_IconLoaders::iconFileWithMany()
{
    QList<PeBuilder::IconImage> images(10'000, IconBuilder::plain(1, Red));
    images.append(IconBuilder::plain(16, Blue));
    const QImage image = Probe::loadIcoAppIcon(write(u"many.ico"_s, IconBuilder::file(images)), 64);
    QCOMPARE(image.width(), 16);
}

QTEST_GUILESS_MAIN(tst_IconLoaders)
#include "tst_iconloaders.moc"

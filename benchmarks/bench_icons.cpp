// What the icon provider costs beyond decoding and loading, for whom, and how much memory it keeps.

#include "BenchReport.h"
#include "IconBuilder.h"
#include "KvProgramIconProviderProbe.h"
#include "MachineBuilder.h"
#include "platform/Icons.h"
#include "platform/Platform.h"

#include <XDispatch.h>

#include <QtCore/QElapsedTimer>
#include <QtCore/QJsonArray>
#include <QtCore/QSemaphore>
#include <QtGui/QGuiApplication>
#include <QtGui/QPainter>

#include <algorithm>
#include <atomic>
#include <ctime>
#include <functional>
#include <malloc.h>
#include <thread>

using namespace Qt::StringLiterals;
using Probe = KvProgramIconProviderProbe;

namespace {

constexpr int Rounds = 400;
constexpr int ThroughputHits = 4000;
constexpr int LeakLoads = 10'000;

double microseconds(const QElapsedTimer &timer)
{
    return double(timer.nsecsElapsed()) / 1e3;
}

double at(QList<double> values, double part)
{
    std::sort(values.begin(), values.end());
    return values.at(std::min(qsizetype(double(values.size()) * part), values.size() - 1));
}

double median(const QList<double> &values)
{
    return at(values, 0.5);
}

/** The value of a computer that does nothing else: other programs' work only adds to times. */
double undisturbed(const QList<double> &values)
{
    return at(values, 0.1);
}

/** The processor time of all threads of this process, in microseconds. */
double processorTime()
{
    return double(std::clock()) * 1e6 / CLOCKS_PER_SEC;
}

QJsonObject compare(const QList<double> &bare, const QList<double> &ours)
{
    return {{u"bareUs"_s, median(bare)},
            {u"us"_s, median(ours)},
            {u"ratio"_s, median(ours) / median(bare)},
            {u"bareUndisturbedUs"_s, undisturbed(bare)},
            {u"undisturbedUs"_s, undisturbed(ours)},
            {u"undisturbedRatio"_s, undisturbed(ours) / undisturbed(bare)}};
}

double measure(const std::function<void()> &function)
{
    QElapsedTimer timer;
    timer.start();
    function();
    return microseconds(timer);
}

/** A picture as programs have them: a rounded plate with a gradient and some shapes on it. */
QImage drawIcon(int side, int number)
{
    QImage image(side, side, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.scale(side / 256.0, side / 256.0);
    QLinearGradient plate(0, 0, 256, 256);
    plate.setColorAt(0, QColor::fromHsv(number * 37 % 360, 180, 240));
    plate.setColorAt(1, QColor::fromHsv((number * 37 + 60) % 360, 220, 140));
    painter.setPen(Qt::NoPen);
    painter.setBrush(plate);
    painter.drawRoundedRect(8, 8, 240, 240, 48, 48);
    for (int i = 0; i < 6; ++i) {
        painter.setBrush(QColor::fromHsv((number * 53 + i * 40) % 360, 90, 250, 200));
        painter.drawEllipse(QPointF(50 + number * (i + 3) % 150, 50 + number * (i + 7) % 150), 20 + 6 * i, 12 + 8 * i);
    }
    return image;
}

/** Drawn icons; the number of each is in its file's name, such as "x17". */
class DrawnIcons final : public KvPlatform::Icons
{
public:
    std::optional<QImage> largestIcon(const QString &nativePath) const override
    {
        return drawIcon(256, nativePath.mid(1).toInt());
    }
};

/** Requests one picture and waits for it; gives the times until the request was back and until the picture was there.
 */
struct Trip
{
    Trip(KvProgramIconProvider &provider, const QString &id)
    {
        QSemaphore finished;
        std::atomic<double> finishedAt{0};
        QElapsedTimer timer;
        timer.start();
        const std::unique_ptr<QQuickImageResponse> response(provider.requestImageResponse(id, QSize()));
        returned = microseconds(timer);
        const auto end = [&] {
            finishedAt = microseconds(timer);
            finished.release();
        };
        QObject::connect(response.get(), &QQuickImageResponse::finished, response.get(), end, Qt::DirectConnection);
        // The job may have been faster than this connection.
        if (Probe::hasImage(*response) && finished.available() == 0)
            end();
        finished.acquire();
        picture = finishedAt;
    }

    double returned = 0;
    double picture = 0;
};

QJsonObject measureHits()
{
    KvProgramIconProvider provider(nullptr);
    const QString id = u"x1"_s;
    Trip(provider, id);
    XDispatch::waitForBackground(60'000);
    const QByteArray png = *Probe::cachedPicture(provider, u"x1@0"_s);
    QList<double> bare;
    QList<double> hits;
    QList<double> caller;
    for (int i = 0; i < Rounds; ++i) {
        bare.append(measure([&png] { QImage::fromData(png, "PNG"); }));
        const Trip trip(provider, id);
        hits.append(trip.picture);
        caller.append(trip.returned);
    }
    return {{u"pngBytes"_s, png.size()},     {u"bareDecodeUs"_s, median(bare)},
            {u"hitUs"_s, median(hits)},      {u"ratio"_s, median(hits) / median(bare)},
            {u"callerUs"_s, median(caller)}, {u"caller99PercentUs"_s, at(caller, 0.99)}};
}

/** Calls `function` ThroughputHits times, on `threads` threads. */
void runTogether(int threads, const std::function<void()> &function)
{
    std::vector<std::thread> all;
    for (int i = 0; i < threads; ++i) {
        all.emplace_back([&function, threads] {
            for (int k = 0; k < ThroughputHits / threads; ++k)
                function();
        });
    }
    for (std::thread &thread : all)
        thread.join();
}

/** Hits for each second with `inFlight` requests under way, and the same number of bare decodes on as many threads. */
QJsonObject measureThroughput(int inFlight)
{
    KvProgramIconProvider provider(nullptr);
    Trip(provider, u"x1"_s);
    XDispatch::waitForBackground(60'000);
    const QByteArray png = *Probe::cachedPicture(provider, u"x1@0"_s);
    const double start = processorTime();
    const double bare = measure([&] { runTogether(inFlight, [&png] { QImage::fromData(png, "PNG"); }); });
    const double middle = processorTime();
    const double hits = measure([&] { runTogether(inFlight, [&provider] { Trip(provider, u"x1"_s); }); });
    return {{u"inFlight"_s, inFlight},
            {u"hitsPerSecond"_s, ThroughputHits / hits * 1e6},
            {u"bareDecodesPerSecond"_s, ThroughputHits / bare * 1e6},
            {u"ratio"_s, hits / bare},
            {u"processorTimeRatio"_s, (processorTime() - middle) / (middle - start)}};
}

/** Loads out of a real program file, of which only the version changes, beside the calls that they can't do without. */
QJsonObject measureLoads()
{
    MachineBuilder machine;
    const QByteArray png = IconBuilder::png(drawIcon(256, 1));
    machine.addFile(u"C:/Apps/large.exe"_s,
                    IconBuilder::program({{0, 0, 32, png}, IconBuilder::plain(32, 0xFF00FF00)}));
    machine.addFile(u"C:/Apps/small.exe"_s, IconBuilder::program({IconBuilder::plain(32, 0xFF00FF00)}));
    const ScopedMachine current(machine);
    const auto icons = KvPlatform::Platform::current()->icons;
    QJsonObject result;
    for (const QString &name : {u"large"_s, u"small"_s}) {
        KvProgramIconProvider provider(nullptr);
        const QString native = u"C:\\Apps\\%1.exe"_s.arg(name);
        QList<double> bare;
        QList<double> scaled;
        QList<double> loads;
        QList<double> caller;
        for (int i = 0; i < Rounds; ++i) {
            QImage image;
            bare.append(measure([&] { image = *icons->largestIcon(native); }));
            const double scaling = measure([&] { image = image.scaledToWidth(100, Qt::SmoothTransformation); });
            scaled.append(bare.last() + (name == u"large" ? scaling : 0));
            const Trip trip(provider, u"C:/Apps/%1.exe?v=%2"_s.arg(name).arg(i));
            loads.append(trip.picture);
            caller.append(trip.returned);
            XDispatch::waitForBackground(60'000);
        }
        result.insert(name, QJsonObject{{u"besideBareCalls"_s, compare(bare, loads)},
                                        {u"besideBareCallsAndScaling"_s, compare(scaled, loads)},
                                        {u"callerUs"_s, median(caller)},
                                        {u"caller99PercentUs"_s, at(caller, 0.99)}});
    }
    return result;
}

/** One pass over the memory of an image. */
quint32 passOver(const QImage &image)
{
    quint32 sum = 0;
    const auto *const words = reinterpret_cast<const quint32 *>(image.constBits());
    const qsizetype count = image.sizeInBytes() / 4;
    for (qsizetype i = 0; i < count; ++i)
        sum += words[i];
    return sum;
}

QJsonArray measureChecks()
{
    static volatile quint32 sink = 0;
    QImage corner(256, 256, QImage::Format_ARGB32_Premultiplied);
    corner.fill(Qt::transparent);
    QPainter(&corner).drawImage(0, 0, drawIcon(48, 1));
    QImage half = corner;
    half.fill(Qt::transparent);
    // Every row full up to what doesn't count as filled yet, and every other pixel of it.
    for (int y = 0; y < 256; ++y) {
        for (int x = 0; x < 256; x += 2)
            half.setPixel(x, y, 0xFF112233);
    }
    QImage clear = corner;
    clear.fill(Qt::transparent);
    QJsonArray results;
    const std::pair<const char *, QImage> images[] = {{"small icon in the corner", corner},
                                                      {"icon", drawIcon(256, 1)},
                                                      {"every other pixel", half},
                                                      {"clear", clear}};
    for (const auto &[name, drawn] : images) {
        for (const auto format : {QImage::Format_ARGB32_Premultiplied, QImage::Format_RGBA8888, QImage::Format_RGBA64,
                                  QImage::Format_RGBA16FPx4, QImage::Format_Alpha8}) {
            const QImage image = drawn.convertToFormat(format);
            QList<double> pass;
            QList<double> filled;
            QList<double> narrow;
            for (int i = 0; i < Rounds; ++i) {
                pass.append(measure([&] { sink = sink + passOver(image); }));
                filled.append(measure([&] { sink = sink + Probe::hasFilledRow(image); }));
                narrow.append(measure([&] { sink = sink + Probe::isContentNarrow(image); }));
            }
            results.append(QJsonObject{{u"image"_s, QLatin1String(name)},
                                       {u"format"_s, int(format)},
                                       {u"passUs"_s, undisturbed(pass)},
                                       {u"hasFilledRow"_s, undisturbed(filled) / undisturbed(pass)},
                                       {u"isContentNarrow"_s, undisturbed(narrow) / undisturbed(pass)}});
        }
    }
    return results;
}

QJsonObject measureMemory()
{
    KvProgramIconProvider provider(nullptr);
    const auto used = [] { return qint64(mallinfo2().uordblks); };
    for (int i = 0; i < 8; ++i)
        Trip(provider, u"x0?v=%1"_s.arg(i));
    XDispatch::waitForBackground(60'000);
    const qint64 before = used();
    for (int i = 0; i < 256; ++i)
        Trip(provider, u"x%1"_s.arg(i));
    XDispatch::waitForBackground(60'000);
    const qint64 full = used();
    QJsonArray later;
    for (int i = 1; i <= LeakLoads; ++i) {
        Trip(provider, u"x%1?v=%2"_s.arg(i % 300).arg(i));
        if (i % (LeakLoads / 4) == 0) {
            XDispatch::waitForBackground(60'000);
            later.append(used() - before);
        }
    }
    return {{u"pngBytesOf256"_s, Probe::cachedBytes(provider)},
            {u"memoryOf256"_s, full - before},
            {u"memoryAfterEveryQuarterOf10000Loads"_s, later}};
}

} // namespace

int main(int argc, char *argv[])
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    const QGuiApplication application(argc, argv);
    if (argc != 2)
        return 2;
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {});
    const auto platform = std::make_shared<KvPlatform::Platform>();
    platform->icons = std::make_shared<DrawnIcons>();
    KvPlatform::Platform::setCurrent(platform);
    QJsonArray throughput;
    for (const int inFlight : {1, 4, 16})
        throughput.append(measureThroughput(inFlight));
    QJsonObject report{{u"hits"_s, measureHits()},
                       {u"throughput"_s, throughput},
                       {u"checks"_s, measureChecks()},
                       {u"memory"_s, measureMemory()}};
    report.insert(u"loads"_s, measureLoads());
    return writeReport(argv[1], report);
}

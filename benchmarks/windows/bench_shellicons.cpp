// What a load costs beyond the shell's own calls, and whether loads leave anything behind.

#include "../BenchReport.h"
#include "IconBuilder.h"
#include "KvProgramIconProviderProbe.h"
#include "platform/Platform.h"
#include "platform/win/ComScope.h"
#include "platform/win/Handles.h"
#include "ProcessUse.h"

#include <XDispatch.h>

#include <commctrl.h>
#include <commoncontrols.h>
#include <shellapi.h>

#include <QtCore/QDir>
#include <QtCore/QElapsedTimer>
#include <QtCore/QJsonArray>
#include <QtCore/QTemporaryDir>
#include <QtGui/QGuiApplication>

#include <algorithm>
#include <functional>
#include <thread>

using namespace Qt::StringLiterals;
using Probe = KvProgramIconProviderProbe;

namespace {

constexpr int ComparedLoads = 200;

// What a run fails beyond. The ratio's goal is 1.15; the bound leaves room for a computer that is busy otherwise.
constexpr double WorstRatio = 1.5;
constexpr double WorstGrowth = 1.05;

double median(QList<double> values)
{
    std::sort(values.begin(), values.end());
    return values.at(values.size() / 2);
}

double measure(const std::function<void()> &function)
{
    QElapsedTimer timer;
    timer.start();
    function();
    return double(timer.nsecsElapsed()) / 1e3;
}

/** Runs `function` on a thread as the pool has them. */
void runOnWorker(const std::function<void()> &function)
{
    std::thread([&function] {
        const KvPlatform::ComScope com;
        function();
    }).join();
}

/** The same picture by the shell's calls alone. */
QImage loadBarely(const QString &nativePath)
{
    SHFILEINFOW info = {};
    IImageList *list = nullptr;
    KvPlatform::UniqueIcon icon;
    if (SHGetFileInfoW(KvPlatform::wide(nativePath), 0, &info, sizeof info, SHGFI_SYSICONINDEX) == 0 ||
        FAILED(SHGetImageList(SHIL_JUMBO, IID_PPV_ARGS(&list))) ||
        FAILED(list->GetIcon(info.iIcon, ILD_TRANSPARENT, icon.put())))
        return QImage();
    return QImage::fromHICON(icon.get()).scaledToWidth(100, Qt::SmoothTransformation);
}

QJsonObject compareWithBareCalls(const QString &program, bool &isFast)
{
    QList<double> bare;
    QList<double> loads;
    runOnWorker([&] {
        const QString native = QDir::toNativeSeparators(program);
        for (int i = 0; i < ComparedLoads; ++i) {
            QImage expected;
            QImage image;
            bare.append(measure([&] { expected = loadBarely(native); }));
            loads.append(measure([&] { image = Probe::loadAppIcon(program); }));
            if (image.isNull() || image != expected)
                qFatal("another picture than the shell's");
        }
    });
    const double ratio = median(loads) / median(bare);
    isFast = ratio <= WorstRatio;
    return {{u"bareUs"_s, median(bare)}, {u"loadUs"_s, median(loads)}, {u"ratio"_s, ratio}};
}

/** Loads through the provider, each for a version of its own. */
QJsonObject measureLeftovers(const QString &program, int count, bool &isClean)
{
    KvProgramIconProvider provider(nullptr);
    QJsonArray uses;
    QList<ProcessUse> all;
    int loads = 0;
    for (const int target : {count / 10, count / 4, count / 2, count}) {
        for (; loads < target; ++loads) {
            const std::unique_ptr<QQuickImageResponse> response(
                provider.requestImageResponse(u"%1?v=%2"_s.arg(program).arg(loads), QSize()));
            if (!XDispatch::waitForBackground(60'000) || !Probe::hasImage(*response))
                qFatal("load %d has failed", loads);
        }
        const ProcessUse use = ProcessUse::now();
        all.append(use);
        uses.append(QJsonObject{{u"loads"_s, loads},
                                {u"gdiObjects"_s, qint64(GetGuiResources(GetCurrentProcess(), GR_GDIOBJECTS))},
                                {u"userObjects"_s, qint64(GetGuiResources(GetCurrentProcess(), GR_USEROBJECTS))},
                                {u"handles"_s, qint64(use.handles)},
                                {u"privateBytes"_s, use.privateBytes}});
    }
    const QJsonObject early = uses.at(1).toObject();
    const QJsonObject late = uses.last().toObject();
    isClean = early.value(u"gdiObjects"_s) == late.value(u"gdiObjects"_s) &&
              early.value(u"userObjects"_s) == late.value(u"userObjects"_s) &&
              double(all.last().privateBytes) <= double(all.at(1).privateBytes) * WorstGrowth;
    return {{u"uses"_s, uses}};
}

} // namespace

int main(int argc, char *argv[])
{
    const QGuiApplication application(argc, argv);
    if (argc < 2 || argc > 3) {
        std::fputs("usage: bench_shellicons REPORT [LOADS]\n", stderr);
        return 2;
    }
    const int loads = std::max(10, argc == 3 ? QByteArray(argv[2]).toInt() : 10'000);
    const QTemporaryDir folder(QDir::tempPath() + u"/shellpics-XXXXXX"_s);
    const QString program = folder.filePath(u"program.exe"_s);
    QFile file(program);
    if (!file.open(QIODevice::WriteOnly) ||
        file.write(IconBuilder::program({IconBuilder::plain(256, 0xFF3060C0)})) <= 0)
        return 1;
    file.close();
    bool isClean = false;
    bool isFast = false;
    QJsonObject report = measureLeftovers(program, loads, isClean);
    report.insert(u"load"_s, compareWithBareCalls(program, isFast));
    if (!isClean || !isFast)
        std::fputs(isClean ? "loads are slow\n" : "loads leave something behind\n", stderr);
    const int written = writeReport(argv[1], report);
    return isClean && isFast ? written : 1;
}

#include "platform/Folders.h"
#include "platform/Platform.h"
#include "platform/ShellLinks.h"
#include "platform/win/ComScope.h"
#include "platform/win/Handles.h"

#include <XModulePath.h>

#include <QtCore/QCoreApplication>
#include <QtTest/QTest>

#include <thread>

using namespace Qt::StringLiterals;

namespace {

/** A resource whose values are numbers, and which keeps a list of those that were given back. */
struct NumberTraits
{
    using Value = int;
    static Value none() { return -1; }
    static void giveBack(Value value) { returned().append(value); }

    static QList<int> &returned()
    {
        static QList<int> numbers;
        return numbers;
    }
};

using UniqueNumber = KvPlatform::Unique<NumberTraits>;

bool isSignalled(HANDLE handle)
{
    return WaitForSingleObject(handle, 0) == WAIT_OBJECT_0;
}

} // namespace

/** What only the Windows back-end has: owned handles, COM of a thread, modules. */
class TestWinHandles : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { NumberTraits::returned().clear(); }
    void owns();
    void moves();
    void putEmptiesFirst();
    void nativeHandle();
    void comOfAThread();
    void noLinksWithoutCom();
    void modulePath();
    void badToken();
};

void TestWinHandles::owns()
{
    {
        const UniqueNumber none;
        const UniqueNumber zero(0);
        QVERIFY(!none);
        QVERIFY(static_cast<bool>(zero));
        QCOMPARE(zero.get(), 0);
        UniqueNumber other(7);
        other.reset(8);
        QCOMPARE(NumberTraits::returned(), QList<int>{7});
        QCOMPARE(other.release(), 8);
        QVERIFY(!other);
    }
    QCOMPARE(NumberTraits::returned(), QList<int>({7, 0}));
}

void TestWinHandles::moves()
{
    {
        UniqueNumber first(1);
        UniqueNumber second(std::move(first));
        UniqueNumber third(3);
        third = std::move(second);
        QCOMPARE(NumberTraits::returned(), QList<int>{3});
        QCOMPARE(third.get(), 1);
        UniqueNumber &same = third;
        third = std::move(same);
        QCOMPARE(third.get(), 1);
    }
    QCOMPARE(NumberTraits::returned(), QList<int>({3, 1}));
}

void TestWinHandles::putEmptiesFirst()
{
    UniqueNumber number(4);
    int *const place = number.put();
    QCOMPARE(NumberTraits::returned(), QList<int>{4});
    QCOMPARE(*place, -1);
    *place = 5;
    QCOMPARE(number.get(), 5);
}

void TestWinHandles::nativeHandle()
{
    HANDLE event = CreateEventW(nullptr, TRUE, TRUE, nullptr);
    KvPlatform::NativeHandle native = KvPlatform::toNative(KvPlatform::UniqueHandle(event));
    QCOMPARE(native.native(), event);
    QVERIFY(isSignalled(event));
    native.reset();
    QVERIFY(!isSignalled(event));
}

void TestWinHandles::comOfAThread()
{
    const auto kindOfApartment = [] {
        APTTYPE type = APTTYPE_CURRENT;
        APTTYPEQUALIFIER qualifier = APTTYPEQUALIFIER_NONE;
        const HRESULT result = CoGetApartmentType(&type, &qualifier);
        return FAILED(result) || qualifier == APTTYPEQUALIFIER_IMPLICIT_MTA ? APTTYPE_CURRENT : type;
    };
    std::thread([&kindOfApartment] {
        {
            const KvPlatform::ComScope outer;
            const KvPlatform::ComScope inner;
            QVERIFY(outer.hasCom() && inner.hasCom());
            QCOMPARE(kindOfApartment(), APTTYPE_MTA);
        }
        QCOMPARE(kindOfApartment(), APTTYPE_CURRENT);
        QCOMPARE(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED), S_OK);
        {
            const KvPlatform::ComScope foreign;
            QVERIFY(foreign.hasCom());
        }
        QVERIFY(kindOfApartment() != APTTYPE_CURRENT);
        CoUninitialize();
        QCOMPARE(kindOfApartment(), APTTYPE_CURRENT);
    }).join();
}

void TestWinHandles::noLinksWithoutCom()
{
    const auto platform = KvPlatform::createPlatform();
    QVERIFY(!platform->links->create());
    const KvPlatform::ComScope com;
    QVERIFY(platform->links->create() != nullptr);
}

void TestWinHandles::modulePath()
{
    QCOMPARE(xModulePath(), QCoreApplication::applicationFilePath());
}

void TestWinHandles::badToken()
{
    const KvPlatform::NativeHandle bad(reinterpret_cast<void *>(0x7FF0), [](void *) {});
    QVERIFY(!KvPlatform::createPlatform()->folders->path(KvPlatform::Folder::Programs, bad));
}

QTEST_GUILESS_MAIN(TestWinHandles)
#include "tst_winhandles.moc"

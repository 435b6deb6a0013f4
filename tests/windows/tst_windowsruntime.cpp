#include "platform/win/runtime/AsyncWait.h"
#include "platform/win/runtime/Calls.h"
#include "platform/win/runtime/Factories.h"
#include "platform/win/runtime/Interfaces.h"

#include <QtCore/QUuid>
#include <QtTest/QTest>

#include <objbase.h>
#include <oleauto.h>

#include <array>
#include <thread>
#include <utility>

using namespace Qt::StringLiterals;
using namespace KvPlatform::Runtime;
using KvPlatform::ComPointer;
using KvPlatform::hresult_error;

namespace {

constexpr int Slots = 24;

/** Tells its own place in a table of functions. */
template<int Slot>
HRESULT STDMETHODCALLTYPE tellSlot(void *)
{
    return Slot;
}

template<int... Slot>
std::array<void *, sizeof...(Slot)> makeTable(std::integer_sequence<int, Slot...>)
{
    return {reinterpret_cast<void *>(&tellSlot<Slot>)...};
}

/** The place at which a call of the function looks into the table behind the object. */
template<typename Interface, typename... Arguments>
int slotOf(HRESULT (STDMETHODCALLTYPE Interface::*function)(Arguments...))
{
    static const std::array<void *, Slots> table = makeTable(std::make_integer_sequence<int, Slots>());
    const void *const *object = table.data();
    return (reinterpret_cast<Interface *>(&object)->*function)(Arguments{}...);
}

QString toText(const GUID &id)
{
    return QUuid(id).toString(QUuid::WithoutBraces).toUpper();
}

/** The id of a generic interface with its arguments: a name-based UUID of the published name space. */
QString instanceId(const QString &signature)
{
    const QUuid space(u"11F47AD5-7B73-42C0-ABAE-878B1E16ADEE"_s);
    return QUuid::createUuidV5(space, signature.toUtf8()).toString(QUuid::WithoutBraces).toUpper();
}

QString handlerSignature(const QString &result)
{
    return u"pinterface({fcdcf02c-e5d8-4478-915a-4d90b74b83a5};%1)"_s.arg(result);
}

QString vectorSignature(const QString &item)
{
    return u"pinterface({bbe1fa4c-b0e3-4583-baef-1f1b2e483e56};%1)"_s.arg(item);
}

QString classSignature(const QString &name, const QString &id)
{
    return u"rc(%1;{%2})"_s.arg(name, id.toLower());
}

/** Leaves a text in the thread's error object, as a call does that fails. */
void setErrorText(const wchar_t *text)
{
    ComPointer<ICreateErrorInfo> creator;
    QCOMPARE(CreateErrorInfo(creator.put()), S_OK);
    creator->SetDescription(const_cast<wchar_t *>(text));
    ComPointer<IErrorInfo> info;
    QCOMPARE(creator->QueryInterface(IID_IErrorInfo, info.putVoid()), S_OK);
    SetErrorInfo(0, info.get());
}

/** An object of a single-threaded apartment that other apartments reach through COM. */
class Callee final : public IPersist
{
public:
    virtual ~Callee() = default;
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void **object) override
    {
        const bool isKnown = IsEqualGUID(id, IID_IUnknown) || IsEqualGUID(id, IID_IPersist);
        *object = isKnown ? this : nullptr;
        return isKnown ? S_OK : E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
    ULONG STDMETHODCALLTYPE Release() override { return 1; }
    HRESULT STDMETHODCALLTYPE GetClassID(CLSID *id) override
    {
        thread = GetCurrentThreadId();
        *id = IID_IPersist;
        return S_OK;
    }

    DWORD thread = 0;
};

} // namespace

/** The layer over the Windows Runtime: the binary form of the interfaces, error texts, waiting. Needs no packages. */
class TestWindowsRuntime : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void interfaceIds_data();
    void interfaceIds();
    void handlerIds_data();
    void handlerIds();
    void functionSlots_data();
    void functionSlots();
    void sizesOfStructures();

    void texts_data();
    void texts();
    void missingObjectIsAnError();

    void errorTextIsTheThreadsObjects();
    void errorTextIsTheSystems();
    void errorTextOfAnUnknownCode();

    void handlerAnswersForItself();
    void waitEndsOnAnotherThread();
    void waitServesCallsToItsThread();
    void unknownClassIsAnError();
};

void TestWindowsRuntime::interfaceIds_data()
{
    QTest::addColumn<GUID>("id");
    QTest::addColumn<QString>("text");
    QTest::newRow("IActivationFactory") << KvPlatform::Runtime::IActivationFactory::iid
                                        << u"00000035-0000-0000-C000-000000000046"_s;
    QTest::newRow("IPackageManager") << IPackageManager::iid << u"9A7D4B65-5E8F-4FC7-A2E5-7F6925CB8B53"_s;
    QTest::newRow("IPackage") << IPackage::iid << u"163C792F-BD75-413C-BF23-B1FE7B95D825"_s;
    QTest::newRow("IPackage2") << IPackage2::iid << u"A6612FB6-7688-4ACE-95FB-359538E7AA01"_s;
    QTest::newRow("IPackage3") << IPackage3::iid << u"5F738B61-F86A-4917-93D1-F1EE9D3B35D9"_s;
    QTest::newRow("IPackageId") << IPackageId::iid << u"1ADB665E-37C7-4790-9980-DD7AE74E8BB2"_s;
    QTest::newRow("IAppDisplayInfo") << IAppDisplayInfo::iid << u"1AEB1103-E4D4-41AA-A4F6-C4A276E79EAC"_s;
    QTest::newRow("IAppListEntry") << IAppListEntry::iid << u"EF00F07F-2108-490A-877A-8A9F17C25FAD"_s;
    QTest::newRow("IAppListEntry2") << IAppListEntry2::iid << u"D0A618AD-BF35-42AC-AC06-86EEEB41D04B"_s;
    QTest::newRow("IAppListEntry3") << IAppListEntry3::iid << u"6099F28D-FC32-470A-BC69-4B061A76EF2E"_s;
    QTest::newRow("IUserStatics") << IUserStatics::iid << u"155EB23B-242A-45E0-A2E9-3171FC6A7FDD"_s;
    QTest::newRow("IUser") << IUser::iid << u"DF9A26C6-E746-4BCD-B5D4-120103C4209B"_s;
    QTest::newRow("IRandomAccessStreamReference")
        << IRandomAccessStreamReference::iid << u"33EE3134-1DD6-4E3A-8067-D1C162E8642B"_s;
    QTest::newRow("IRandomAccessStreamWithContentType")
        << IRandomAccessStreamWithContentType::iid << u"CC254827-4B3D-438F-9232-10C76BC7E038"_s;
    QTest::newRow("IRandomAccessStream") << IRandomAccessStream::iid << u"905A0FE1-BC53-11DF-8C49-001E4FC686DA"_s;
    QTest::newRow("IBitmapDecoderStatics") << IBitmapDecoderStatics::iid << u"438CCB26-BCEF-4E95-BAD6-23A822E58D01"_s;
    QTest::newRow("IBitmapDecoder") << IBitmapDecoder::iid << u"ACEF22BA-1D74-4C91-9DFC-9620745233E6"_s;
    QTest::newRow("IBitmapFrameWithSoftwareBitmap")
        << IBitmapFrameWithSoftwareBitmap::iid << u"FE287C9A-420C-4963-87AD-691436E08383"_s;
    QTest::newRow("ISoftwareBitmapStatics") << ISoftwareBitmapStatics::iid << u"DF0385DB-672F-4A9D-806E-C2442F343E86"_s;
    QTest::newRow("ISoftwareBitmap") << ISoftwareBitmap::iid << u"689E0708-7EEF-483F-963F-DA938818E073"_s;
    QTest::newRow("IBitmapBuffer") << IBitmapBuffer::iid << u"A53E04C4-399C-438C-B28F-A63A6B83D1A1"_s;
    QTest::newRow("IMemoryBuffer") << IMemoryBuffer::iid << u"FBC4DD2A-245B-11E4-AF98-689423260CF8"_s;
    QTest::newRow("IMemoryBufferReference") << IMemoryBufferReference::iid << u"FBC4DD29-245B-11E4-AF98-689423260CF8"_s;
    QTest::newRow("IMemoryBufferByteAccess")
        << IMemoryBufferByteAccess::iid << u"5B0D3235-4DBA-4D44-865E-8F1D0E4FD04D"_s;
    QTest::newRow("IClosable") << IClosable::iid << u"30D5A829-7FA4-4026-83BB-D75BAE4EA99E"_s;
    QTest::newRow("IAsyncInfo") << IAsyncInfo::iid << u"00000036-0000-0000-C000-000000000046"_s;
    QTest::newRow("IRestrictedErrorInfo") << IRestrictedErrorInfo::iid << u"82BA7092-4C88-427D-A7BC-16DD93FEB67E"_s;
}

void TestWindowsRuntime::interfaceIds()
{
    QFETCH(GUID, id);
    QFETCH(QString, text);
    QCOMPARE(toText(id), text);
}

void TestWindowsRuntime::handlerIds_data()
{
    QTest::addColumn<GUID>("id");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("signature");
    const QString users = vectorSignature(classSignature(u"Windows.System.User"_s, toText(IUser::iid)));
    const QString entries =
        vectorSignature(classSignature(u"Windows.ApplicationModel.Core.AppListEntry"_s, toText(IAppListEntry::iid)));
    const QString decoder = classSignature(u"Windows.Graphics.Imaging.BitmapDecoder"_s, toText(IBitmapDecoder::iid));
    const QString bitmap = classSignature(u"Windows.Graphics.Imaging.SoftwareBitmap"_s, toText(ISoftwareBitmap::iid));
    const QString stream = u"{%1}"_s.arg(toText(IRandomAccessStreamWithContentType::iid).toLower());
    QTest::newRow("users") << handlerId<IUsers *> << u"09870533-F7CB-569C-B797-DCB48DEBD709"_s << users;
    QTest::newRow("entries") << handlerId<IAppListEntries *> << u"51C74372-9452-57CE-9270-762009FBFE4D"_s << entries;
    QTest::newRow("stream")
        << handlerId<IRandomAccessStreamWithContentType *> << u"3DDDECF4-1D39-58E8-83B1-DBED541C7F35"_s << stream;
    QTest::newRow("decoder") << handlerId<IBitmapDecoder *> << u"BB6514F2-3CFB-566F-82BC-60AABD302D53"_s << decoder;
    QTest::newRow("bitmap") << handlerId<ISoftwareBitmap *> << u"B699B653-33ED-5E2D-A75F-02BF90E32619"_s << bitmap;
}

void TestWindowsRuntime::handlerIds()
{
    QFETCH(GUID, id);
    QFETCH(QString, text);
    QFETCH(QString, signature);
    QCOMPARE(toText(id), text);
    QCOMPARE(toText(id), instanceId(handlerSignature(signature)));
}

void TestWindowsRuntime::functionSlots_data()
{
    QTest::addColumn<int>("slot");
    QTest::addColumn<int>("expected");
    const auto row = [](const char *name, int slot, int expected) { QTest::newRow(name) << slot << expected; };
    row("ActivateInstance", slotOf(&KvPlatform::Runtime::IActivationFactory::ActivateInstance), 6);
    row("FindPackages", slotOf(&IPackageManager::FindPackages), 11);
    row("FindPackagesByUserSecurityId", slotOf(&IPackageManager::FindPackagesByUserSecurityId), 12);
    row("FindPackageByPackageFullName", slotOf(&IPackageManager::FindPackageByPackageFullName), 17);
    row("FindPackageByUserSecurityIdPackageFullName",
        slotOf(&IPackageManager::FindPackageByUserSecurityIdPackageFullName), 21);
    row("IPackage.Id", slotOf(&IPackage::get_Id), 6);
    row("IPackage2.DisplayName", slotOf(&IPackage2::get_DisplayName), 6);
    row("IPackage2.PublisherDisplayName", slotOf(&IPackage2::get_PublisherDisplayName), 7);
    row("GetAppListEntriesAsync", slotOf(&IPackage3::GetAppListEntriesAsync), 8);
    row("IPackageId.Version", slotOf(&IPackageId::get_Version), 7);
    row("IPackageId.FullName", slotOf(&IPackageId::get_FullName), 12);
    row("IAppDisplayInfo.DisplayName", slotOf(&IAppDisplayInfo::get_DisplayName), 6);
    row("IAppDisplayInfo.Description", slotOf(&IAppDisplayInfo::get_Description), 7);
    row("GetLogo", slotOf(&IAppDisplayInfo::GetLogo), 8);
    row("DisplayInfo", slotOf(&IAppListEntry::get_DisplayInfo), 6);
    row("LaunchAsync", slotOf(&IAppListEntry::LaunchAsync), 7);
    row("AppUserModelId", slotOf(&IAppListEntry2::get_AppUserModelId), 6);
    row("LaunchForUserAsync", slotOf(&IAppListEntry3::LaunchForUserAsync), 6);
    row("FindAllAsync", slotOf(&IUserStatics::FindAllAsync), 7);
    row("GetFromId", slotOf(&IUserStatics::GetFromId), 10);
    row("NonRoamableId", slotOf(&IUser::get_NonRoamableId), 6);
    row("AuthenticationStatus", slotOf(&IUser::get_AuthenticationStatus), 7);
    row("Type", slotOf(&IUser::get_Type), 8);
    row("OpenReadAsync", slotOf(&IRandomAccessStreamReference::OpenReadAsync), 6);
    row("CreateAsync", slotOf(&IBitmapDecoderStatics::CreateAsync), 14);
    row("GetSoftwareBitmapAsync", slotOf(&IBitmapFrameWithSoftwareBitmap::GetSoftwareBitmapAsync), 6);
    row("Convert", slotOf(&ISoftwareBitmapStatics::ConvertWithAlpha), 8);
    row("BitmapPixelFormat", slotOf(&ISoftwareBitmap::get_BitmapPixelFormat), 6);
    row("BitmapAlphaMode", slotOf(&ISoftwareBitmap::get_BitmapAlphaMode), 7);
    row("PixelWidth", slotOf(&ISoftwareBitmap::get_PixelWidth), 8);
    row("PixelHeight", slotOf(&ISoftwareBitmap::get_PixelHeight), 9);
    row("LockBuffer", slotOf(&ISoftwareBitmap::LockBuffer), 15);
    row("GetPlaneDescription", slotOf(&IBitmapBuffer::GetPlaneDescription), 7);
    row("CreateReference", slotOf(&IMemoryBuffer::CreateReference), 6);
    row("GetBuffer", slotOf(&IMemoryBufferByteAccess::GetBuffer), 3);
    row("Close", slotOf(&IClosable::Close), 6);
    row("Status", slotOf(&IAsyncInfo::get_Status), 7);
    row("First", slotOf(&IIterable<IPackage *>::First), 6);
    row("Current", slotOf(&IIterator<IPackage *>::get_Current), 6);
    row("HasCurrent", slotOf(&IIterator<IPackage *>::get_HasCurrent), 7);
    row("MoveNext", slotOf(&IIterator<IPackage *>::MoveNext), 8);
    row("GetAt", slotOf(&IVectorView<IUser *>::GetAt), 6);
    row("Size", slotOf(&IVectorView<IUser *>::get_Size), 7);
    row("put Completed", slotOf(&IAsyncOperation<IUsers *>::put_Completed), 6);
    row("GetResults", slotOf(&IAsyncOperation<IUsers *>::GetResults), 8);
    row("Invoke", slotOf(&IAsyncCompletedHandler<IUsers *>::Invoke), 3);
    row("GetErrorDetails", slotOf(&IRestrictedErrorInfo::GetErrorDetails), 3);
}

void TestWindowsRuntime::functionSlots()
{
    QFETCH(int, slot);
    QFETCH(int, expected);
    QCOMPARE(slot, expected);
}

void TestWindowsRuntime::sizesOfStructures()
{
    QCOMPARE(sizeof(Size), size_t(8));
    QCOMPARE(sizeof(Version), size_t(8));
    QCOMPARE(sizeof(PlaneDescription), size_t(16));
    QCOMPARE(sizeof(Boolean), size_t(1));
    QCOMPARE(sizeof(AsyncStatus), size_t(4));
}

void TestWindowsRuntime::texts_data()
{
    QTest::addColumn<QString>("text");
    QTest::newRow("none") << QString();
    QTest::newRow("empty") << u""_s;
    QTest::newRow("letters") << u"Übersicht 概要 📋"_s;
    QTest::newRow("zero inside") << QString(u"a\0b"_s);
}

void TestWindowsRuntime::texts()
{
    QFETCH(QString, text);
    RuntimeString copy;
    {
        const StringArgument argument(text);
        QCOMPARE(WindowsDuplicateString(argument.get(), copy.put()), S_OK);
    }
    QCOMPARE(copy.text(), text);
    QCOMPARE(RuntimeString().text(), QString());
}

void TestWindowsRuntime::missingObjectIsAnError()
{
    const auto codeOf = [](const auto &call) {
        try {
            call();
        } catch (const hresult_error &error) {
            return error.code();
        }
        return qint32(0);
    };
    const ComPointer<IAsyncOperation<IUsers *>> operation;
    QCOMPARE(codeOf([] { query<IPackage3>(nullptr); }), qint32(E_POINTER));
    QCOMPARE(codeOf([] { getText(static_cast<IUser *>(nullptr), &IUser::get_NonRoamableId); }), qint32(E_POINTER));
    QCOMPARE(codeOf([&operation] { waitFor(operation); }), qint32(E_POINTER));
}

void TestWindowsRuntime::errorTextIsTheThreadsObjects()
{
    setErrorText(L"Said by the call. \r\n");
    const hresult_error error = makeError(E_FAIL);
    QCOMPARE(error.code(), qint32(E_FAIL));
    QCOMPARE(error.message(), u"Said by the call."_s);
    // The text was taken, so that it is no other error's.
    QVERIFY(makeError(E_FAIL).message() != u"Said by the call."_s);
}

void TestWindowsRuntime::errorTextIsTheSystems()
{
    SetErrorInfo(0, nullptr);
    const hresult_error error = makeError(E_ACCESSDENIED);
    QCOMPARE(error.code(), qint32(0x80070005));
    QVERIFY2(error.message().startsWith(u"Access"_s, Qt::CaseInsensitive), qPrintable(error.message()));
    QCOMPARE(error.message(), error.message().trimmed());
    setErrorText(L" \r\n");
    QCOMPARE(makeError(E_ACCESSDENIED).message(), error.message());
}

void TestWindowsRuntime::errorTextOfAnUnknownCode()
{
    SetErrorInfo(0, nullptr);
    const hresult_error error = makeError(static_cast<HRESULT>(0xA1234567U));
    QCOMPARE(error.code(), qint32(0xA1234567U));
    QCOMPARE(error.message(), QString());
}

void TestWindowsRuntime::handlerAnswersForItself()
{
    const auto handler = CompletedHandler<IUsers *>::create();
    const GUID agile = QUuid(u"94EA2B94-E9CC-49E0-C0FF-EE64CA8F5B90"_s);
    for (const GUID &id : {GUID(IID_IUnknown), agile, handlerId<IUsers *>}) {
        ComPointer<IUnknown> answer;
        QCOMPARE(handler->QueryInterface(id, answer.putVoid()), S_OK);
        QCOMPARE(answer.get(), static_cast<IUnknown *>(handler.get()));
    }
    void *other = &other;
    QCOMPARE(handler->QueryInterface(handlerId<IAppListEntries *>, &other), E_NOINTERFACE);
    QVERIFY(!other);
}

void TestWindowsRuntime::waitEndsOnAnotherThread()
{
    for (const AsyncStatus status : {AsyncStatus::Completed, AsyncStatus::Canceled, AsyncStatus::Error}) {
        Completion completion;
        std::thread other([&completion, status] { completion.complete(status); });
        QCOMPARE(completion.wait(), status);
        other.join();
        QCOMPARE(completion.wait(), status);
    }
}

void TestWindowsRuntime::waitServesCallsToItsThread()
{
    QCOMPARE(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED), S_OK);
    Callee callee;
    ComPointer<IStream> way;
    QCOMPARE(CoMarshalInterThreadInterfaceInStream(IID_IPersist, &callee, way.put()), S_OK);
    Completion completion;
    HRESULT called = E_FAIL;
    std::thread other([&] {
        CoInitializeEx(nullptr, COINIT_MULTITHREADED);
        {
            ComPointer<IPersist> proxy;
            CLSID id = {};
            called = CoGetInterfaceAndReleaseStream(way.release(), IID_IPersist, proxy.putVoid());
            if (SUCCEEDED(called))
                called = proxy->GetClassID(&id);
        }
        completion.complete(AsyncStatus::Completed);
        CoUninitialize();
    });
    const AsyncStatus status = completion.wait();
    other.join();
    CoUninitialize();
    QCOMPARE(status, AsyncStatus::Completed);
    QCOMPARE(called, S_OK);
    QCOMPARE(callee.thread, GetCurrentThreadId());
}

void TestWindowsRuntime::unknownClassIsAnError()
{
    // On a thread that nobody has prepared. An interface that no factory has is refused in any case.
    qint32 code = 0;
    std::thread([&code] {
        try {
            activationFactory<IAppListEntry>(RuntimeClass::PackageManager);
        } catch (const hresult_error &error) {
            code = error.code();
        }
    }).join();
    QVERIFY(code < 0);
    QVERIFY2(code != qint32(CO_E_NOTINITIALIZED), "there was no apartment");
    releaseFactories();
}

QTEST_GUILESS_MAIN(TestWindowsRuntime)
#include "tst_windowsruntime.moc"

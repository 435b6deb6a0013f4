#pragma once

#include <windows.h>

#include <hstring.h>
#include <inspectable.h>

/**
 * The interfaces of the Windows Runtime that the module calls, as their binary form has them.
 *
 * Declared by hand, since not every tool chain has them all, and some have them wrong. The order of the functions is
 * the order in the table behind the object; `slotN` are those that nobody here calls, without their arguments. Own
 * functions begin at slot 6, or at slot 3 of what is derived from IUnknown. A received HSTRING or interface belongs to
 * the caller. Source: the metadata of the Windows Runtime; learn.microsoft.com/uwp/api describes the classes.
 */
namespace KvPlatform::Runtime {

#ifdef __GNUC__
// Objects end by Release(); interfaces have no destructors.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
#endif

/** One byte, other than BOOL. */
using Boolean = unsigned char;

/** Windows.Foundation.AsyncStatus */
enum class AsyncStatus : INT32
{
    Started = 0,
    Completed = 1,
    Canceled = 2,
    Error = 3,
};

/** Windows.Foundation.Size */
struct Size
{
    float width;
    float height;
};

/** Windows.ApplicationModel.PackageVersion */
struct Version
{
    UINT16 major;
    UINT16 minor;
    UINT16 build;
    UINT16 revision;
};

/** Windows.Graphics.Imaging.BitmapPlaneDescription */
struct PlaneDescription
{
    INT32 startIndex;
    INT32 width;
    INT32 height;
    INT32 stride; ///< Bytes from one row to the next.
};

/** Of every class of which objects can be made. */
struct IActivationFactory : IInspectable
{
    static constexpr GUID iid = {0x00000035, 0x0000, 0x0000, {0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46}};
    virtual HRESULT STDMETHODCALLTYPE ActivateInstance(IInspectable **instance) = 0;
};

/** Windows.Foundation.Collections */
template<typename Item>
struct IIterator : IInspectable
{
    virtual HRESULT STDMETHODCALLTYPE get_Current(Item *item) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_HasCurrent(Boolean *has) = 0;
    virtual HRESULT STDMETHODCALLTYPE MoveNext(Boolean *has) = 0;
    virtual HRESULT STDMETHODCALLTYPE slot9() = 0;
};

template<typename Item>
struct IIterable : IInspectable
{
    virtual HRESULT STDMETHODCALLTYPE First(IIterator<Item> **iterator) = 0;
};

template<typename Item>
struct IVectorView : IInspectable
{
    virtual HRESULT STDMETHODCALLTYPE GetAt(UINT32 index, Item *item) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_Size(UINT32 *size) = 0;
    virtual HRESULT STDMETHODCALLTYPE slot8() = 0;
    virtual HRESULT STDMETHODCALLTYPE slot9() = 0;
};

/** Windows.Foundation */
struct IAsyncInfo : IInspectable
{
    static constexpr GUID iid = {0x00000036, 0x0000, 0x0000, {0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46}};
    virtual HRESULT STDMETHODCALLTYPE slot6() = 0;
    virtual HRESULT STDMETHODCALLTYPE get_Status(AsyncStatus *status) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_ErrorCode(HRESULT *error) = 0;
    virtual HRESULT STDMETHODCALLTYPE Cancel() = 0;
    virtual HRESULT STDMETHODCALLTYPE Close() = 0;
};

template<typename Result>
struct IAsyncOperation;

template<typename Result>
struct IAsyncCompletedHandler : IUnknown
{
    virtual HRESULT STDMETHODCALLTYPE Invoke(IAsyncOperation<Result> *operation, AsyncStatus status) = 0;

protected:
    ~IAsyncCompletedHandler() = default; // This one is ours to implement.
};

template<typename Result>
struct IAsyncOperation : IInspectable
{
    virtual HRESULT STDMETHODCALLTYPE put_Completed(IAsyncCompletedHandler<Result> *handler) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_Completed(IAsyncCompletedHandler<Result> **handler) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetResults(Result *result) = 0;
};

struct IClosable : IInspectable
{
    static constexpr GUID iid = {0x30D5A829, 0x7FA4, 0x4026, {0x83, 0xBB, 0xD7, 0x5B, 0xAE, 0x4E, 0xA9, 0x9E}};
    virtual HRESULT STDMETHODCALLTYPE Close() = 0;
};

struct IMemoryBufferReference : IInspectable
{
    static constexpr GUID iid = {0xFBC4DD29, 0x245B, 0x11E4, {0xAF, 0x98, 0x68, 0x94, 0x23, 0x26, 0x0C, 0xF8}};
    virtual HRESULT STDMETHODCALLTYPE get_Capacity(UINT32 *capacity) = 0;
    virtual HRESULT STDMETHODCALLTYPE slot7() = 0;
    virtual HRESULT STDMETHODCALLTYPE slot8() = 0;
};

struct IMemoryBuffer : IInspectable
{
    static constexpr GUID iid = {0xFBC4DD2A, 0x245B, 0x11E4, {0xAF, 0x98, 0x68, 0x94, 0x23, 0x26, 0x0C, 0xF8}};
    virtual HRESULT STDMETHODCALLTYPE CreateReference(IMemoryBufferReference **reference) = 0;
};

struct IMemoryBufferByteAccess : IUnknown
{
    static constexpr GUID iid = {0x5B0D3235, 0x4DBA, 0x4D44, {0x86, 0x5E, 0x8F, 0x1D, 0x0E, 0x4F, 0xD0, 0x4D}};
    virtual HRESULT STDMETHODCALLTYPE GetBuffer(BYTE **bytes, UINT32 *capacity) = 0;
};

/** Windows.System */
struct IUser : IInspectable
{
    static constexpr GUID iid = {0xDF9A26C6, 0xE746, 0x4BCD, {0xB5, 0xD4, 0x12, 0x01, 0x03, 0xC4, 0x20, 0x9B}};
    virtual HRESULT STDMETHODCALLTYPE get_NonRoamableId(HSTRING *id) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_AuthenticationStatus(INT32 *status) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_Type(INT32 *type) = 0;
    virtual HRESULT STDMETHODCALLTYPE slot9() = 0;
    virtual HRESULT STDMETHODCALLTYPE slot10() = 0;
    virtual HRESULT STDMETHODCALLTYPE slot11() = 0;
};

using IUsers = IVectorView<IUser *>;

struct IUserStatics : IInspectable
{
    static constexpr GUID iid = {0x155EB23B, 0x242A, 0x45E0, {0xA2, 0xE9, 0x31, 0x71, 0xFC, 0x6A, 0x7F, 0xDD}};
    virtual HRESULT STDMETHODCALLTYPE slot6() = 0;
    virtual HRESULT STDMETHODCALLTYPE FindAllAsync(IAsyncOperation<IUsers *> **operation) = 0;
    virtual HRESULT STDMETHODCALLTYPE slot8() = 0;
    virtual HRESULT STDMETHODCALLTYPE slot9() = 0;
    virtual HRESULT STDMETHODCALLTYPE GetFromId(HSTRING id, IUser **user) = 0;
};

/** Windows.Storage.Streams */
struct IRandomAccessStream : IInspectable
{
    static constexpr GUID iid = {0x905A0FE1, 0xBC53, 0x11DF, {0x8C, 0x49, 0x00, 0x1E, 0x4F, 0xC6, 0x86, 0xDA}};
    virtual HRESULT STDMETHODCALLTYPE slot6() = 0;
    virtual HRESULT STDMETHODCALLTYPE slot7() = 0;
    virtual HRESULT STDMETHODCALLTYPE slot8() = 0;
    virtual HRESULT STDMETHODCALLTYPE slot9() = 0;
    virtual HRESULT STDMETHODCALLTYPE slot10() = 0;
    virtual HRESULT STDMETHODCALLTYPE slot11() = 0;
    virtual HRESULT STDMETHODCALLTYPE slot12() = 0;
    virtual HRESULT STDMETHODCALLTYPE slot13() = 0;
    virtual HRESULT STDMETHODCALLTYPE slot14() = 0;
};

/** Has no functions of its own. */
struct IRandomAccessStreamWithContentType : IInspectable
{
    static constexpr GUID iid = {0xCC254827, 0x4B3D, 0x438F, {0x92, 0x32, 0x10, 0xC7, 0x6B, 0xC7, 0xE0, 0x38}};
};

struct IRandomAccessStreamReference : IInspectable
{
    static constexpr GUID iid = {0x33EE3134, 0x1DD6, 0x4E3A, {0x80, 0x67, 0xD1, 0xC1, 0x62, 0xE8, 0x64, 0x2B}};
    virtual HRESULT STDMETHODCALLTYPE
    OpenReadAsync(IAsyncOperation<IRandomAccessStreamWithContentType *> **operation) = 0;
};

/** Windows.Graphics.Imaging */
struct IBitmapBuffer : IInspectable
{
    static constexpr GUID iid = {0xA53E04C4, 0x399C, 0x438C, {0xB2, 0x8F, 0xA6, 0x3A, 0x6B, 0x83, 0xD1, 0xA1}};
    virtual HRESULT STDMETHODCALLTYPE GetPlaneCount(INT32 *count) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetPlaneDescription(INT32 index, PlaneDescription *description) = 0;
};

struct ISoftwareBitmap : IInspectable
{
    static constexpr GUID iid = {0x689E0708, 0x7EEF, 0x483F, {0x96, 0x3F, 0xDA, 0x93, 0x88, 0x18, 0xE0, 0x73}};
    virtual HRESULT STDMETHODCALLTYPE get_BitmapPixelFormat(INT32 *format) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_BitmapAlphaMode(INT32 *mode) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_PixelWidth(INT32 *width) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_PixelHeight(INT32 *height) = 0;
    virtual HRESULT STDMETHODCALLTYPE slot10() = 0;
    virtual HRESULT STDMETHODCALLTYPE slot11() = 0;
    virtual HRESULT STDMETHODCALLTYPE slot12() = 0;
    virtual HRESULT STDMETHODCALLTYPE slot13() = 0;
    virtual HRESULT STDMETHODCALLTYPE slot14() = 0;
    virtual HRESULT STDMETHODCALLTYPE LockBuffer(INT32 accessMode, IBitmapBuffer **buffer) = 0;
    virtual HRESULT STDMETHODCALLTYPE slot16() = 0;
    virtual HRESULT STDMETHODCALLTYPE slot17() = 0;
    virtual HRESULT STDMETHODCALLTYPE slot18() = 0;
    virtual HRESULT STDMETHODCALLTYPE slot19() = 0;
};

struct ISoftwareBitmapStatics : IInspectable
{
    static constexpr GUID iid = {0xDF0385DB, 0x672F, 0x4A9D, {0x80, 0x6E, 0xC2, 0x44, 0x2F, 0x34, 0x3E, 0x86}};
    virtual HRESULT STDMETHODCALLTYPE slot6() = 0;
    virtual HRESULT STDMETHODCALLTYPE slot7() = 0;
    virtual HRESULT STDMETHODCALLTYPE ConvertWithAlpha(ISoftwareBitmap *bitmap, INT32 format, INT32 alphaMode,
                                                       ISoftwareBitmap **result) = 0;
    virtual HRESULT STDMETHODCALLTYPE slot9() = 0;
    virtual HRESULT STDMETHODCALLTYPE slot10() = 0;
    virtual HRESULT STDMETHODCALLTYPE slot11() = 0;
    virtual HRESULT STDMETHODCALLTYPE slot12() = 0;
};

/** An interface of each decoder, besides IBitmapDecoder. */
struct IBitmapFrameWithSoftwareBitmap : IInspectable
{
    static constexpr GUID iid = {0xFE287C9A, 0x420C, 0x4963, {0x87, 0xAD, 0x69, 0x14, 0x36, 0xE0, 0x83, 0x83}};
    virtual HRESULT STDMETHODCALLTYPE GetSoftwareBitmapAsync(IAsyncOperation<ISoftwareBitmap *> **operation) = 0;
    virtual HRESULT STDMETHODCALLTYPE slot7() = 0;
    virtual HRESULT STDMETHODCALLTYPE slot8() = 0;
};

struct IBitmapDecoder : IInspectable
{
    static constexpr GUID iid = {0xACEF22BA, 0x1D74, 0x4C91, {0x9D, 0xFC, 0x96, 0x20, 0x74, 0x52, 0x33, 0xE6}};
    virtual HRESULT STDMETHODCALLTYPE slot6() = 0;
    virtual HRESULT STDMETHODCALLTYPE slot7() = 0;
    virtual HRESULT STDMETHODCALLTYPE slot8() = 0;
    virtual HRESULT STDMETHODCALLTYPE slot9() = 0;
    virtual HRESULT STDMETHODCALLTYPE slot10() = 0;
};

struct IBitmapDecoderStatics : IInspectable
{
    static constexpr GUID iid = {0x438CCB26, 0xBCEF, 0x4E95, {0xBA, 0xD6, 0x23, 0xA8, 0x22, 0xE5, 0x8D, 0x01}};
    virtual HRESULT STDMETHODCALLTYPE slot6() = 0;
    virtual HRESULT STDMETHODCALLTYPE slot7() = 0;
    virtual HRESULT STDMETHODCALLTYPE slot8() = 0;
    virtual HRESULT STDMETHODCALLTYPE slot9() = 0;
    virtual HRESULT STDMETHODCALLTYPE slot10() = 0;
    virtual HRESULT STDMETHODCALLTYPE slot11() = 0;
    virtual HRESULT STDMETHODCALLTYPE slot12() = 0;
    virtual HRESULT STDMETHODCALLTYPE slot13() = 0;
    virtual HRESULT STDMETHODCALLTYPE CreateAsync(IRandomAccessStream *stream,
                                                  IAsyncOperation<IBitmapDecoder *> **operation) = 0;
    virtual HRESULT STDMETHODCALLTYPE slot15() = 0;
};

/** Windows.ApplicationModel.Core */
struct IAppDisplayInfo : IInspectable
{
    static constexpr GUID iid = {0x1AEB1103, 0xE4D4, 0x41AA, {0xA4, 0xF6, 0xC4, 0xA2, 0x76, 0xE7, 0x9E, 0xAC}};
    virtual HRESULT STDMETHODCALLTYPE get_DisplayName(HSTRING *name) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_Description(HSTRING *text) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetLogo(Size size, IRandomAccessStreamReference **stream) = 0;
};

struct IAppListEntry : IInspectable
{
    static constexpr GUID iid = {0xEF00F07F, 0x2108, 0x490A, {0x87, 0x7A, 0x8A, 0x9F, 0x17, 0xC2, 0x5F, 0xAD}};
    virtual HRESULT STDMETHODCALLTYPE get_DisplayInfo(IAppDisplayInfo **info) = 0;
    virtual HRESULT STDMETHODCALLTYPE LaunchAsync(IAsyncOperation<Boolean> **operation) = 0;
};

/** Since Windows 10, version 1709. */
struct IAppListEntry2 : IInspectable
{
    static constexpr GUID iid = {0xD0A618AD, 0xBF35, 0x42AC, {0xAC, 0x06, 0x86, 0xEE, 0xEB, 0x41, 0xD0, 0x4B}};
    virtual HRESULT STDMETHODCALLTYPE get_AppUserModelId(HSTRING *id) = 0;
};

/** Since Windows 10, version 1803. */
struct IAppListEntry3 : IInspectable
{
    static constexpr GUID iid = {0x6099F28D, 0xFC32, 0x470A, {0xBC, 0x69, 0x4B, 0x06, 0x1A, 0x76, 0xEF, 0x2E}};
    virtual HRESULT STDMETHODCALLTYPE LaunchForUserAsync(IUser *user, IAsyncOperation<Boolean> **operation) = 0;
};

using IAppListEntries = IVectorView<IAppListEntry *>;

/** Windows.ApplicationModel */
struct IPackageId : IInspectable
{
    static constexpr GUID iid = {0x1ADB665E, 0x37C7, 0x4790, {0x99, 0x80, 0xDD, 0x7A, 0xE7, 0x4E, 0x8B, 0xB2}};
    virtual HRESULT STDMETHODCALLTYPE slot6() = 0;
    virtual HRESULT STDMETHODCALLTYPE get_Version(Version *version) = 0;
    virtual HRESULT STDMETHODCALLTYPE slot8() = 0;
    virtual HRESULT STDMETHODCALLTYPE slot9() = 0;
    virtual HRESULT STDMETHODCALLTYPE slot10() = 0;
    virtual HRESULT STDMETHODCALLTYPE slot11() = 0;
    virtual HRESULT STDMETHODCALLTYPE get_FullName(HSTRING *name) = 0;
    virtual HRESULT STDMETHODCALLTYPE slot13() = 0;
};

struct IPackage : IInspectable
{
    static constexpr GUID iid = {0x163C792F, 0xBD75, 0x413C, {0xBF, 0x23, 0xB1, 0xFE, 0x7B, 0x95, 0xD8, 0x25}};
    virtual HRESULT STDMETHODCALLTYPE get_Id(IPackageId **id) = 0;
    virtual HRESULT STDMETHODCALLTYPE slot7() = 0;
    virtual HRESULT STDMETHODCALLTYPE slot8() = 0;
    virtual HRESULT STDMETHODCALLTYPE slot9() = 0;
};

struct IPackage2 : IInspectable
{
    static constexpr GUID iid = {0xA6612FB6, 0x7688, 0x4ACE, {0x95, 0xFB, 0x35, 0x95, 0x38, 0xE7, 0xAA, 0x01}};
    virtual HRESULT STDMETHODCALLTYPE get_DisplayName(HSTRING *name) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_PublisherDisplayName(HSTRING *name) = 0;
    virtual HRESULT STDMETHODCALLTYPE slot8() = 0;
    virtual HRESULT STDMETHODCALLTYPE slot9() = 0;
    virtual HRESULT STDMETHODCALLTYPE slot10() = 0;
    virtual HRESULT STDMETHODCALLTYPE slot11() = 0;
    virtual HRESULT STDMETHODCALLTYPE slot12() = 0;
};

struct IPackage3 : IInspectable
{
    static constexpr GUID iid = {0x5F738B61, 0xF86A, 0x4917, {0x93, 0xD1, 0xF1, 0xEE, 0x9D, 0x3B, 0x35, 0xD9}};
    virtual HRESULT STDMETHODCALLTYPE slot6() = 0;
    virtual HRESULT STDMETHODCALLTYPE slot7() = 0;
    virtual HRESULT STDMETHODCALLTYPE GetAppListEntriesAsync(IAsyncOperation<IAppListEntries *> **operation) = 0;
};

/** Windows.Management.Deployment */
struct IPackageManager : IInspectable
{
    static constexpr GUID iid = {0x9A7D4B65, 0x5E8F, 0x4FC7, {0xA2, 0xE5, 0x7F, 0x69, 0x25, 0xCB, 0x8B, 0x53}};
    virtual HRESULT STDMETHODCALLTYPE slot6() = 0;
    virtual HRESULT STDMETHODCALLTYPE slot7() = 0;
    virtual HRESULT STDMETHODCALLTYPE slot8() = 0;
    virtual HRESULT STDMETHODCALLTYPE slot9() = 0;
    virtual HRESULT STDMETHODCALLTYPE slot10() = 0;
    virtual HRESULT STDMETHODCALLTYPE FindPackages(IIterable<IPackage *> **packages) = 0;
    virtual HRESULT STDMETHODCALLTYPE FindPackagesByUserSecurityId(HSTRING userSecurityId,
                                                                   IIterable<IPackage *> **packages) = 0;
    virtual HRESULT STDMETHODCALLTYPE slot13() = 0;
    virtual HRESULT STDMETHODCALLTYPE slot14() = 0;
    virtual HRESULT STDMETHODCALLTYPE slot15() = 0;
    virtual HRESULT STDMETHODCALLTYPE slot16() = 0;
    virtual HRESULT STDMETHODCALLTYPE FindPackageByPackageFullName(HSTRING fullName, IPackage **package) = 0;
    virtual HRESULT STDMETHODCALLTYPE slot18() = 0;
    virtual HRESULT STDMETHODCALLTYPE slot19() = 0;
    virtual HRESULT STDMETHODCALLTYPE slot20() = 0;
    virtual HRESULT STDMETHODCALLTYPE FindPackageByUserSecurityIdPackageFullName(HSTRING userSecurityId,
                                                                                 HSTRING fullName,
                                                                                 IPackage **package) = 0;
};

/** What a failed call has said of its error; of the thread's error object. */
struct IRestrictedErrorInfo : IUnknown
{
    static constexpr GUID iid = {0x82BA7092, 0x4C88, 0x427D, {0xA7, 0xBC, 0x16, 0xDD, 0x93, 0xFE, 0xB6, 0x7E}};
    virtual HRESULT STDMETHODCALLTYPE GetErrorDetails(BSTR *description, HRESULT *error, BSTR *restrictedDescription,
                                                      BSTR *capabilitySid) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetReference(BSTR *reference) = 0;
};

#ifdef __GNUC__
#pragma GCC diagnostic pop
#endif

/** What the handler of an operation with that result is asked for. */
template<typename Result>
inline constexpr GUID handlerId = {};

template<>
inline constexpr GUID handlerId<IUsers *> = {
    0x09870533, 0xF7CB, 0x569C, {0xB7, 0x97, 0xDC, 0xB4, 0x8D, 0xEB, 0xD7, 0x09}};

template<>
inline constexpr GUID handlerId<IAppListEntries *> = {
    0x51C74372, 0x9452, 0x57CE, {0x92, 0x70, 0x76, 0x20, 0x09, 0xFB, 0xFE, 0x4D}};

template<>
inline constexpr GUID handlerId<IRandomAccessStreamWithContentType *> = {
    0x3DDDECF4, 0x1D39, 0x58E8, {0x83, 0xB1, 0xDB, 0xED, 0x54, 0x1C, 0x7F, 0x35}};

template<>
inline constexpr GUID handlerId<IBitmapDecoder *> = {
    0xBB6514F2, 0x3CFB, 0x566F, {0x82, 0xBC, 0x60, 0xAA, 0xBD, 0x30, 0x2D, 0x53}};

template<>
inline constexpr GUID handlerId<ISoftwareBitmap *> = {
    0xB699B653, 0x33ED, 0x5E2D, {0xA7, 0x5F, 0x02, 0xBF, 0x90, 0xE3, 0x26, 0x19}};

} // namespace KvPlatform::Runtime

#include "platform/win/WinBitmaps.h"

#include "platform/win/runtime/AsyncWait.h"
#include "platform/win/runtime/Calls.h"
#include "platform/win/runtime/Factories.h"

namespace KvPlatform {

using namespace Runtime;

namespace {

constexpr qint64 BytesPerPixel = 4;

/** Memory of a picture, and where the rows lie in it. */
struct Rows
{
    const BYTE *bytes = nullptr;
    qint64 capacity = 0;
    qint64 start = 0;
    qint64 stride = 0;
};

/** The rows without what lies between them; nothing if they reach beyond the memory. */
std::optional<BitmapPixels> copyRows(const Rows &rows, INT32 width, INT32 height)
{
    const qint64 length = BytesPerPixel * width;
    if (width <= 0 || height <= 0 || !rows.bytes || rows.start < 0 || rows.stride < length ||
        rows.start + rows.stride * (qint64(height) - 1) + length > rows.capacity)
        return std::nullopt;
    BitmapPixels pixels{width, height, QByteArray()};
    pixels.bytes.reserve(length * height);
    for (qint64 y = 0; y < height; ++y) {
        const BYTE *const row = rows.bytes + rows.start + y * rows.stride;
        pixels.bytes.append(reinterpret_cast<const char *>(row), length);
    }
    return pixels;
}

class WinBitmap final : public SoftwareBitmap
{
public:
    explicit WinBitmap(ComPointer<ISoftwareBitmap> bitmap)
        : m_bitmap(std::move(bitmap))
    {}

    int pixelFormat() const override { return get(m_bitmap.get(), &ISoftwareBitmap::get_BitmapPixelFormat); }
    int alphaMode() const override { return get(m_bitmap.get(), &ISoftwareBitmap::get_BitmapAlphaMode); }

    std::unique_ptr<SoftwareBitmap> convert(int pixelFormat, int alphaMode) const override
    {
        const auto statics = activationFactory<ISoftwareBitmapStatics>(RuntimeClass::SoftwareBitmap);
        ComPointer<ISoftwareBitmap> result;
        check(statics->ConvertWithAlpha(m_bitmap.get(), pixelFormat, alphaMode, result.put()));
        return std::make_unique<WinBitmap>(std::move(result));
    }

    std::optional<BitmapPixels> pixels() const override
    {
        constexpr INT32 ReadMode = 0;
        ComPointer<IBitmapBuffer> locked;
        check(required(m_bitmap.get())->LockBuffer(ReadMode, locked.put()));
        const ClosingPointer<IBitmapBuffer> buffer(std::move(locked));
        const auto memory = query<IMemoryBuffer>(buffer.get());
        const ClosingPointer<IMemoryBufferReference> reference(
            getObject(memory.get(), &IMemoryBuffer::CreateReference));
        const auto access = query<IMemoryBufferByteAccess>(reference.get());
        BYTE *bytes = nullptr;
        UINT32 capacity = 0;
        if (FAILED(access->GetBuffer(&bytes, &capacity)))
            return std::nullopt;
        const INT32 width = get(m_bitmap.get(), &ISoftwareBitmap::get_PixelWidth);
        const INT32 height = get(m_bitmap.get(), &ISoftwareBitmap::get_PixelHeight);
        Rows rows{bytes, capacity, 0, BytesPerPixel * width};
        PlaneDescription plane = {};
        // Without a description the rows follow each other from the beginning.
        if (SUCCEEDED(buffer->GetPlaneDescription(0, &plane)) && plane.stride > 0) {
            rows.start = plane.startIndex;
            rows.stride = plane.stride;
        }
        return copyRows(rows, width, height);
    }

private:
    const ComPointer<ISoftwareBitmap> m_bitmap;
};

} // namespace

std::unique_ptr<SoftwareBitmap> decodeBitmap(IRandomAccessStreamReference *picture)
{
    const auto content = waitFor(getObject(picture, &IRandomAccessStreamReference::OpenReadAsync));
    const auto stream = query<IRandomAccessStream>(content.get());
    const auto decoders = activationFactory<IBitmapDecoderStatics>(RuntimeClass::BitmapDecoder);
    ComPointer<IAsyncOperation<IBitmapDecoder *>> decoding;
    check(decoders->CreateAsync(stream.get(), decoding.put()));
    const auto frame = query<IBitmapFrameWithSoftwareBitmap>(waitFor(decoding).get());
    return std::make_unique<WinBitmap>(
        waitFor(getObject(frame.get(), &IBitmapFrameWithSoftwareBitmap::GetSoftwareBitmapAsync)));
}

} // namespace KvPlatform

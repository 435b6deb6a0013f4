#include "ServerBitmaps.h"

#include "ServerOperation.h"

using namespace KvPlatform::Runtime;

namespace {

constexpr INT32 Rgba8 = 30;
constexpr INT32 Premultiplied = 0;
constexpr INT32 Straight = 1;
constexpr INT32 BytesPerPixel = 4;

struct Pixel
{
    int red = 0;
    int green = 0;
    int blue = 0;
    int alpha = 0;
};

/** A picture as it is, and how it lies in memory. */
struct Picture
{
    QString kind;
    INT32 width = 0;
    INT32 height = 0;
    INT32 format = Rgba8;
    INT32 alphaMode = Premultiplied;
    INT32 start = 0;   ///< Bytes before the first row.
    INT32 gap = 0;     ///< Bytes between two rows.
    int capacity = -1; ///< How many bytes the memory is said to have; -1 tells the truth.

    static Picture of(const QJsonObject &facts)
    {
        return {facts.value(u"kind").toString(),
                facts.value(u"width").toInt(9),
                facts.value(u"height").toInt(9),
                facts.value(u"format").toInt(Rgba8),
                facts.value(u"alphaMode").toInt(Premultiplied),
                facts.value(u"start").toInt(0),
                facts.value(u"gap").toInt(0),
                facts.value(u"capacity").toInt(-1)};
    }

    INT32 stride() const { return width * BytesPerPixel + gap; }

    /** The colour by itself, not multiplied. */
    Pixel pixel(INT32 x, INT32 y) const
    {
        if (kind == u"glass")
            return {255, 0, 100, 51};
        const bool isPlate = kind != u"glyph" || (x >= width * 9 / 20 && x < width * 11 / 20);
        return isPlate ? Pixel{x, y, 7, 255} : Pixel{};
    }

    /** The memory; in another format than Rgba8 it is nothing that anybody could take for pixels. */
    QByteArray bytes() const
    {
        QByteArray bytes(start + stride() * height, '\xAA');
        for (INT32 y = 0; format == Rgba8 && y < height; ++y) {
            for (INT32 x = 0; x < width; ++x) {
                const Pixel color = pixel(x, y);
                const int factor = alphaMode == Premultiplied ? color.alpha : 255;
                char *const place = bytes.data() + start + y * stride() + x * BytesPerPixel;
                place[0] = static_cast<char>(color.red * factor / 255);
                place[1] = static_cast<char>(color.green * factor / 255);
                place[2] = static_cast<char>(color.blue * factor / 255);
                place[3] = static_cast<char>(color.alpha);
            }
        }
        return bytes;
    }
};

class Reference final
    : public ServerObject<Inspectable<IMemoryBufferReference>, IMemoryBufferByteAccess, Inspectable<IClosable>>
{
public:
    Reference(const Picture &picture, const QString &object)
        : ServerObject(QStringLiteral("Reference"), object,
                       {"IMemoryBufferReference", "IMemoryBufferByteAccess", "IClosable"})
        , m_bytes(picture.bytes())
        , m_capacity(picture.capacity < 0 ? static_cast<int>(m_bytes.size()) : picture.capacity)
    {}

    HRESULT STDMETHODCALLTYPE get_Capacity(UINT32 *) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE slot7() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE slot8() override { return E_NOTIMPL; }

    HRESULT STDMETHODCALLTYPE GetBuffer(BYTE **bytes, UINT32 *capacity) override
    {
        const HRESULT entered = enter("GetBuffer");
        if (FAILED(entered))
            return entered;
        *bytes = reinterpret_cast<BYTE *>(m_bytes.data());
        *capacity = static_cast<UINT32>(m_capacity);
        return S_OK;
    }

    HRESULT STDMETHODCALLTYPE Close() override
    {
        // Who reads on sees it.
        m_bytes.fill('\xCC');
        return enter("Close");
    }

private:
    QByteArray m_bytes;
    const int m_capacity;
};

class Buffer final : public ServerObject<Inspectable<IBitmapBuffer>, Inspectable<IMemoryBuffer>, Inspectable<IClosable>>
{
public:
    Buffer(const Picture &picture, const QString &object, std::shared_ptr<std::atomic<bool>> lock)
        : ServerObject(QStringLiteral("Buffer"), object, {"IBitmapBuffer", "IMemoryBuffer", "IClosable"})
        , m_picture(picture)
        , m_lock(std::move(lock))
    {}

    HRESULT STDMETHODCALLTYPE GetPlaneCount(INT32 *count) override { return give("GetPlaneCount", INT32(1), count); }
    HRESULT STDMETHODCALLTYPE GetPlaneDescription(INT32, PlaneDescription *description) override
    {
        const PlaneDescription plane{m_picture.start, m_picture.width, m_picture.height, m_picture.stride()};
        return give("GetPlaneDescription", plane, description);
    }
    HRESULT STDMETHODCALLTYPE CreateReference(IMemoryBufferReference **reference) override
    {
        return giveNew("CreateReference", reference, [this] { return new Reference(m_picture, objectName()); });
    }
    HRESULT STDMETHODCALLTYPE Close() override
    {
        *m_lock = false;
        return enter("Close");
    }

private:
    ~Buffer() override { *m_lock = false; }

    const Picture m_picture;
    const std::shared_ptr<std::atomic<bool>> m_lock;
};

class Bitmap final : public ServerObject<Inspectable<ISoftwareBitmap>>
{
public:
    Bitmap(Picture picture, const QString &object)
        : ServerObject(QStringLiteral("Bitmap"), object, {"ISoftwareBitmap"})
        , m_picture(std::move(picture))
    {}

    const Picture &picture() const { return m_picture; }

    HRESULT STDMETHODCALLTYPE get_BitmapPixelFormat(INT32 *format) override
    {
        return give("get_BitmapPixelFormat", m_picture.format, format);
    }
    HRESULT STDMETHODCALLTYPE get_BitmapAlphaMode(INT32 *mode) override
    {
        return give("get_BitmapAlphaMode", m_picture.alphaMode, mode);
    }
    HRESULT STDMETHODCALLTYPE get_PixelWidth(INT32 *width) override
    {
        return give("get_PixelWidth", m_picture.width, width);
    }
    HRESULT STDMETHODCALLTYPE get_PixelHeight(INT32 *height) override
    {
        return give("get_PixelHeight", m_picture.height, height);
    }
    HRESULT STDMETHODCALLTYPE slot10() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE slot11() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE slot12() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE slot13() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE slot14() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE LockBuffer(INT32 accessMode, IBitmapBuffer **buffer) override
    {
        constexpr INT32 Read = 0;
        if (accessMode != Read)
            return E_INVALIDARG;
        // One at a time, as in the system.
        if (m_lock->exchange(true))
            return E_ACCESSDENIED;
        const HRESULT result =
            giveNew("LockBuffer", buffer, [this] { return new Buffer(m_picture, objectName(), m_lock); });
        if (FAILED(result))
            *m_lock = false;
        return result;
    }
    HRESULT STDMETHODCALLTYPE slot16() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE slot17() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE slot18() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE slot19() override { return E_NOTIMPL; }

private:
    const Picture m_picture;
    const std::shared_ptr<std::atomic<bool>> m_lock = std::make_shared<std::atomic<bool>>(false);
};

class Decoder final : public ServerObject<Inspectable<IBitmapDecoder>, Inspectable<IBitmapFrameWithSoftwareBitmap>>
{
public:
    Decoder(Picture picture, const QString &object)
        : ServerObject(QStringLiteral("Decoder"), object, {"IBitmapDecoder", "IBitmapFrameWithSoftwareBitmap"})
        , m_picture(std::move(picture))
    {}

    HRESULT STDMETHODCALLTYPE slot6() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE slot7() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE slot8() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE slot9() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE slot10() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetSoftwareBitmapAsync(IAsyncOperation<ISoftwareBitmap *> **operation) override
    {
        return giveNew("GetSoftwareBitmapAsync", operation, [this] {
            const auto make = [picture = m_picture, object = objectName()] { return new Bitmap(picture, object); };
            return new ServerOperation<ISoftwareBitmap *>(QStringLiteral("GetSoftwareBitmapAsync"), objectName(), make);
        });
    }

private:
    const Picture m_picture;
};

class Stream final
    : public ServerObject<Inspectable<IRandomAccessStreamWithContentType>, Inspectable<IRandomAccessStream>>
{
public:
    Stream(Picture picture, const QString &object)
        : ServerObject(QStringLiteral("Stream"), object, {"IRandomAccessStreamWithContentType", "IRandomAccessStream"})
        , m_picture(std::move(picture))
    {}

    const Picture &picture() const { return m_picture; }
    const QString &object() const { return objectName(); }

    HRESULT STDMETHODCALLTYPE slot6() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE slot7() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE slot8() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE slot9() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE slot10() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE slot11() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE slot12() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE slot13() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE slot14() override { return E_NOTIMPL; }

private:
    const Picture m_picture;
};

class Logo final : public ServerObject<Inspectable<IRandomAccessStreamReference>>
{
public:
    Logo(Picture picture, const QString &object)
        : ServerObject(QStringLiteral("Logo"), object, {"IRandomAccessStreamReference"})
        , m_picture(std::move(picture))
    {}

    HRESULT STDMETHODCALLTYPE OpenReadAsync(IAsyncOperation<IRandomAccessStreamWithContentType *> **operation) override
    {
        return giveNew("OpenReadAsync", operation, [this] {
            const auto make = [picture = m_picture, object = objectName()] {
                return static_cast<IRandomAccessStreamWithContentType *>(new Stream(picture, object));
            };
            return new ServerOperation<IRandomAccessStreamWithContentType *>(QStringLiteral("OpenReadAsync"),
                                                                             objectName(), make);
        });
    }

private:
    const Picture m_picture;
};

class DecoderFactory final : public ServerObject<Inspectable<IBitmapDecoderStatics>>
{
public:
    DecoderFactory()
        : ServerObject(QStringLiteral("Decoders"), QString(), {"IBitmapDecoderStatics"})
    {}

    HRESULT STDMETHODCALLTYPE slot6() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE slot7() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE slot8() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE slot9() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE slot10() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE slot11() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE slot12() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE slot13() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE CreateAsync(IRandomAccessStream *stream,
                                          IAsyncOperation<IBitmapDecoder *> **operation) override
    {
        const auto *const own = dynamic_cast<Stream *>(stream);
        if (!own)
            return E_INVALIDARG;
        return giveNew("CreateAsync", operation, [own] {
            const auto make = [picture = own->picture(), object = own->object()] {
                return static_cast<IBitmapDecoder *>(new Decoder(picture, object));
            };
            return new ServerOperation<IBitmapDecoder *>(QStringLiteral("CreateAsync"), own->object(), make);
        });
    }
    HRESULT STDMETHODCALLTYPE slot15() override { return E_NOTIMPL; }
};

class BitmapFactory final : public ServerObject<Inspectable<ISoftwareBitmapStatics>>
{
public:
    BitmapFactory()
        : ServerObject(QStringLiteral("Bitmaps"), QString(), {"ISoftwareBitmapStatics"})
    {}

    HRESULT STDMETHODCALLTYPE slot6() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE slot7() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE ConvertWithAlpha(ISoftwareBitmap *bitmap, INT32 format, INT32 alphaMode,
                                               ISoftwareBitmap **result) override
    {
        const auto *const own = dynamic_cast<Bitmap *>(bitmap);
        if (!own)
            return E_INVALIDARG;
        return giveNew("Convert", result, [&] {
            const Picture &former = own->picture();
            return new Bitmap({former.kind, former.width, former.height, format, alphaMode, 0, 0, -1},
                              QStringLiteral("converted"));
        });
    }
    HRESULT STDMETHODCALLTYPE slot9() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE slot10() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE slot11() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE slot12() override { return E_NOTIMPL; }
};

} // namespace

IRandomAccessStreamReference *makeLogo(const QJsonObject &facts, const QString &object)
{
    return new Logo(Picture::of(facts), object);
}

IInspectable *makeDecoderFactory()
{
    return new DecoderFactory;
}

IInspectable *makeBitmapFactory()
{
    return new BitmapFactory;
}

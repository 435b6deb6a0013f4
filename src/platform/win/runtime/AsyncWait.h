#pragma once

#include "platform/win/runtime/Calls.h"

#include <atomic>

namespace KvPlatform::Runtime {

/** Where an operation tells that it has ended, and a thread waits for that. */
class Completion
{
public:
    /** May raise hresult_error. */
    Completion();

    void complete(AsyncStatus status);

    /**
     * Blocks without a limit. A thread of a single-threaded apartment, as the interface's is, goes on serving calls
     * from other apartments meanwhile, since the operation may wait for one of them. May raise hresult_error.
     */
    AsyncStatus wait() const;

private:
    UniqueHandle m_event;
    std::atomic<AsyncStatus> m_status{AsyncStatus::Started};
};

/** The object that an operation calls when it ends, on whatever thread that happens. */
template<typename Result>
class CompletedHandler final : public IAsyncCompletedHandler<Result>
{
public:
    /** The first reference belongs to the pointer. */
    static ComPointer<CompletedHandler> create()
    {
        ComPointer<CompletedHandler> handler;
        *handler.put() = new CompletedHandler;
        return handler;
    }

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void **object) override
    {
        // Agile, so that no apartment puts a proxy between the operation and the handler.
        constexpr GUID AgileObject = {0x94EA2B94, 0xE9CC, 0x49E0, {0xC0, 0xFF, 0xEE, 0x64, 0xCA, 0x8F, 0x5B, 0x90}};
        constexpr GUID Unknown = {0x00000000, 0x0000, 0x0000, {0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46}};
        const bool isKnown =
            IsEqualGUID(id, handlerId<Result>) || IsEqualGUID(id, AgileObject) || IsEqualGUID(id, Unknown);
        *object = isKnown ? this : nullptr;
        if (!isKnown)
            return E_NOINTERFACE;
        AddRef();
        return S_OK;
    }

    ULONG STDMETHODCALLTYPE AddRef() override { return ++m_references; }

    ULONG STDMETHODCALLTYPE Release() override
    {
        const ULONG left = --m_references;
        if (left == 0)
            delete this;
        return left;
    }

    HRESULT STDMETHODCALLTYPE Invoke(IAsyncOperation<Result> *, AsyncStatus status) override
    {
        m_completion.complete(status);
        return S_OK;
    }

    AsyncStatus wait() const { return m_completion.wait(); }

private:
    CompletedHandler() = default;
    ~CompletedHandler() = default;

    std::atomic<ULONG> m_references{1};
    Completion m_completion;
};

/** Blocks until the operation has ended, without a limit, and gives its result. May raise hresult_error. */
template<typename Result>
ComPointer<Result> waitFor(const ComPointer<IAsyncOperation<Result *>> &operation)
{
    AsyncStatus status = get(query<IAsyncInfo>(operation.get()).get(), &IAsyncInfo::get_Status);
    if (status == AsyncStatus::Started) {
        const auto handler = CompletedHandler<Result *>::create();
        check(operation->put_Completed(handler.get()));
        status = handler->wait();
    }
    if (status == AsyncStatus::Canceled)
        check(HRESULT_FROM_WIN32(ERROR_CANCELLED));
    // After an error this gives the error.
    return getObject(operation.get(), &IAsyncOperation<Result *>::GetResults);
}

} // namespace KvPlatform::Runtime

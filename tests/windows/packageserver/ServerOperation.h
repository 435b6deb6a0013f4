#pragma once

#include "ServerObject.h"

/** An operation that ends as the script tells for the call that began it. */
template<typename Result>
class ServerOperation final
    : public ServerObject<Inspectable<Runtime::IAsyncOperation<Result>>, Inspectable<Runtime::IAsyncInfo>>
{
public:
    using Handler = Runtime::IAsyncCompletedHandler<Result>;
    using Status = Runtime::AsyncStatus;

    /** `make` gives the result, once. */
    ServerOperation(const QString &call, const QString &object, std::function<Result()> make)
        : Base(call, object, {"IAsyncOperation", "IAsyncInfo"})
        , m_make(std::move(make))
        , m_ending(this->state().ending(call, object))
    {
        if (m_ending == u"done")
            m_status = Status::Completed;
        else if (m_ending == u"race")
            endOnThread();
    }

    HRESULT STDMETHODCALLTYPE put_Completed(Handler *handler) override
    {
        const HRESULT entered = this->enter("put_Completed");
        if (FAILED(entered))
            return entered;
        {
            const std::lock_guard lock(m_mutex);
            if (std::exchange(m_hadHandler, true))
                return IllegalDelegateAssignment;
            if (!takeHandler(handler))
                return E_NOINTERFACE;
        }
        if (m_ending == u"late" || m_ending == u"done")
            end(Status::Completed);
        else if (m_ending == u"race")
            tellHandler();
        else
            endOnThread();
        return S_OK;
    }

    HRESULT STDMETHODCALLTYPE get_Completed(Handler **) override { return E_NOTIMPL; }

    HRESULT STDMETHODCALLTYPE GetResults(Result *result) override
    {
        const HRESULT entered = this->enter("GetResults");
        if (FAILED(entered))
            return entered;
        const std::lock_guard lock(m_mutex);
        if (m_status == Status::Error)
            return OperationFailed;
        if (m_status != Status::Completed || !m_make)
            return IllegalMethodCall;
        *result = std::exchange(m_make, nullptr)();
        return S_OK;
    }

    HRESULT STDMETHODCALLTYPE slot6() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE get_Status(Status *status) override
    {
        const std::lock_guard lock(m_mutex);
        return this->give("get_Status", m_status, status);
    }
    HRESULT STDMETHODCALLTYPE get_ErrorCode(HRESULT *error) override
    {
        return this->give("get_ErrorCode", HRESULT(OperationFailed), error);
    }
    HRESULT STDMETHODCALLTYPE Cancel() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Close() override { return this->enter("Close"); }

private:
    using Base = ServerObject<Inspectable<Runtime::IAsyncOperation<Result>>, Inspectable<Runtime::IAsyncInfo>>;

    static constexpr auto IllegalDelegateAssignment = static_cast<HRESULT>(0x80000018U);
    static constexpr auto IllegalMethodCall = static_cast<HRESULT>(0x8000000EU);
    static constexpr auto OperationFailed = static_cast<HRESULT>(0x80073CF1U); // ERROR_PACKAGES_NOT_FOUND

    ~ServerOperation() override
    {
        if (m_handler)
            m_handler->Release();
    }

    /** Asks for the handler's own interface, as a system does that has to move it to another thread. */
    bool takeHandler(Handler *handler)
    {
        return handler &&
               SUCCEEDED(handler->QueryInterface(Runtime::handlerId<Result>, reinterpret_cast<void **>(&m_handler)));
    }

    void endOnThread()
    {
        this->AddRef();
        const auto work = [this] {
            if (m_ending == u"gate")
                this->state().passGate();
            end(m_ending == u"error" ? Status::Error : m_ending == u"canceled" ? Status::Canceled : Status::Completed);
            this->Release();
        };
        // What blocks shall block nothing else.
        if (m_ending == u"gate")
            this->state().startThread(work);
        else
            this->state().post(work);
    }

    void end(Status status)
    {
        {
            const std::lock_guard lock(m_mutex);
            m_status = status;
        }
        tellHandler();
    }

    /** Calls the handler, if there is one and the operation has ended. */
    void tellHandler()
    {
        Handler *handler = nullptr;
        Status status = Status::Started;
        {
            const std::lock_guard lock(m_mutex);
            status = m_status;
            if (status != Status::Started)
                handler = std::exchange(m_handler, nullptr);
        }
        if (!handler)
            return;
        handler->Invoke(this, status);
        handler->Release();
    }

    std::mutex m_mutex;
    std::function<Result()> m_make;
    const QString m_ending;
    Status m_status = Status::Started;
    Handler *m_handler = nullptr;
    bool m_hadHandler = false;
};

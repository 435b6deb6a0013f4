#include "XModulePath.h"

#include <QtCore/QCoreApplication>

#include <atomic>

namespace {

std::atomic<XModulePathFunction> known{nullptr};

} // namespace

void xSetModulePath(XModulePathFunction function)
{
    known = function;
}

QString xModulePath()
{
    const XModulePathFunction function = known;
    return function ? function() : QCoreApplication::applicationFilePath();
}

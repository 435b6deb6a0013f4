#include "XWorkerScope.h"

XWorkerScope::XWorkerScope() = default;
XWorkerScope::~XWorkerScope() = default;

#include "Process.h"

void Process::keepHandles()
{
    setCreateProcessArgumentsModifier([](CreateProcessArguments *arguments) { arguments->inheritHandles = false; });
}

#include "CardCalls.h"

#include <sim/VirtualCard.h>

int callCount(const std::string& function)
{
    int count = 0;
    for (const sim::CallRecord& call : sim::VirtualCard::instance().callLog())
        count += call.function == function ? 1 : 0;
    return count;
}

QStringList calledFunctions()
{
    QStringList functions;
    for (const sim::CallRecord& call : sim::VirtualCard::instance().callLog())
        functions << QString::fromStdString(call.function);
    return functions;
}

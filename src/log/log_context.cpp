#include "log/log_context.h"

namespace pkisdk {

namespace {

int GetErrno() {
    int value = 0;
    _get_errno(&value);
    return value;
}

void SetErrno(int value) {
    _set_errno(value);
}

void SetName(LogContext* context, const char* name) {
    constexpr unsigned char kFirstPrintable = 32;
    for (std::size_t i = 0; i + 1 < kLogNameRoom && name[i] != '\0'; ++i) {
        const auto octet = static_cast<unsigned char>(name[i]);
        context->name[i] = octet < kFirstPrintable ? '?' : name[i];
        context->wideName[i] = octet < kFirstPrintable ? L'?' : static_cast<wchar_t>(octet);
    }
}

}  // namespace

int InitLogContext(LogContext* context, const char* name, std::uint32_t level, std::uint32_t fields,
                   std::uint32_t sinkCount, const SinkWrite* sinkWrites, void* spareOfSinks,
                   SinkRecord* const* sinkRecords, const SinkReload* sinkReloads,
                   std::uint32_t handlerCount, const FieldHandler* handlers, void* spareOfHandlers,
                   LogRegistry* registry, std::uint32_t defaultMaximum) {
    if ((sinkWrites == nullptr && sinkReloads == nullptr) || context == nullptr ||
        name == nullptr || handlers == nullptr || registry == nullptr) {
        return 0;
    }
    if (context->sinkWrites != nullptr) {
        return 1;
    }
    context->level = level;
    context->fields = fields;
    context->defaultLevel = level;
    context->defaultFields = fields;
    context->defaultMaximum = defaultMaximum;
    context->sinkCount = sinkCount;
    context->handlerCount = handlerCount;
    context->sinkWrites = sinkWrites;
    context->spareOfSinks = spareOfSinks;
    context->sinkRecords = sinkRecords;
    context->sinkReloads = sinkReloads;
    context->handlers = handlers;
    context->spareOfHandlers = spareOfHandlers;
    context->registry = registry;
    context->getLastError = &GetLastError;
    context->setLastError = &SetLastError;
    context->getErrno = &GetErrno;
    context->setErrno = &SetErrno;
    SetName(context, name);
    if (registry->open != nullptr) {
        registry->open(context);
    }
    return 1;
}

SinkRecord* InitSinkRecord(LogContext* context, std::uint32_t level, std::uint32_t fields,
                           std::uint32_t index) {
    SinkRecord* const record = FindSinkRecord(context, index);
    if (record == nullptr) {
        return nullptr;
    }
    record->defaultLevel = level;
    record->defaultFields = fields;
    record->level = level;
    record->fields = fields;
    record->maximum = context->defaultMaximum;
    record->defaultMaximum = context->defaultMaximum;
    return record;
}

}  // namespace pkisdk

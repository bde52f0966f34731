#include "log/log_record.h"

#include <cstdio>
#include <string_view>

namespace pkisdk {

namespace {

// A part that does not fit is cut, and ends the line as one that turns out empty does.
void AddArguments(char** position, std::size_t* left, const char* format, std::va_list arguments) {
    const int written = std::vsnprintf(*position, *left, format, arguments);
    if (written <= 0 || static_cast<std::size_t>(written) >= *left) {
        *left = 0;
        return;
    }
    *position += written;
    *left -= static_cast<std::size_t>(written);
}

[[gnu::format(printf, 3, 4)]] void Add(char** position, std::size_t* left, const char* format,
                                       ...) {
    std::va_list arguments;
    va_start(arguments, format);
    AddArguments(position, left, format, arguments);
    va_end(arguments);
}

// Text that grows into a room, until that is 0.
struct Line {
    char* position;
    std::size_t left;

    [[gnu::format(printf, 2, 3)]] void Add(const char* format, ...) {
        std::va_list arguments;
        va_start(arguments, format);
        AddMessage(format, arguments);
        va_end(arguments);
    }
    void AddMessage(const char* format, std::va_list arguments) {
        AddArguments(&position, &left, format, arguments);
    }
    void AddPart(const LogContext& context, FieldHandler handler) {
        if (left != 0) {
            handler(context, &position, &left);
        }
    }
};

// The bits of the field handlers, in the order of the line; `place` is the handler's in the table.
struct HandlerBit {
    std::uint32_t bit;
    std::uint32_t place;
};

void AddHandlers(const LogContext& context, std::uint32_t fields, Line* line) {
    constexpr HandlerBit kNamed[] = {{kLogFieldModuleName, 0},
                                     {kLogFieldThirdHandler, 2},
                                     {kLogFieldFourthHandler, 3},
                                     {kLogFieldThreadId, 1}};
    for (const HandlerBit& one : kNamed) {
        if ((fields & one.bit) != 0 && one.place < context.handlerCount) {
            line->AddPart(context, context.handlers[one.place]);
        }
    }
    std::uint32_t bit = kLogFieldFifthHandler;
    for (std::uint32_t place = 4; place < context.handlerCount && bit != 0; ++place, bit <<= 1) {
        if ((fields & bit) != 0) {
            line->AddPart(context, context.handlers[place]);
        }
    }
}

void AddSource(const char* file, std::int32_t number, Line* line) {
    std::string_view name(file);
    name.remove_prefix(name.find_last_of("/\\") + 1);
    if (name.empty()) {
        line->Add(":%-4d ", number);
    } else {
        line->Add("%-12s:%-4d ", name.data(), number);
    }
}

}  // namespace

int FormatLogPrefix(const LogContext* context, char* buffer, std::uint32_t fields, const char* file,
                    std::int32_t line, const char* function, std::uint32_t code, std::size_t size,
                    const char* format, DWORD lastError, int savedErrno, std::va_list arguments) {
    if (buffer == nullptr || format == nullptr) {
        return 0;
    }
    const auto has = [fields](std::uint32_t bit) { return (fields & bit) != 0; };
    constexpr std::uint32_t kLastShownCode = 0xFFFFFFFD;
    if (size != 0) {
        *buffer = '\0';
    }
    Line text{buffer, size};
    AddHandlers(*context, fields, &text);
    if (has(kLogFieldSource) && file != nullptr) {
        AddSource(file, line, &text);
    }
    if (has(kLogFieldFunction) && function != nullptr) {
        text.Add("%s ", function);
    }
    if (has(kLogFieldWordSize)) {
        text.Add("x64 ");
    }
    if (has(kLogFieldMessage)) {
        text.AddMessage(format, arguments);
        if (text.left > 1) {
            text.Add(" ");
        }
    }
    if (has(kLogFieldLastError) && lastError != 0) {
        text.Add("L:0x%x(%d) ", static_cast<unsigned>(lastError), static_cast<int>(lastError));
    }
    if (has(kLogFieldErrno) && savedErrno != 0) {
        text.Add("E:0x%x(%d) ", static_cast<unsigned>(savedErrno), savedErrno);
    }
    if (has(kLogFieldCode) && code <= kLastShownCode) {
        text.Add("Code:0x%x(%u) ", code, code);
    }
    if (text.left != 0 && text.position != buffer && text.position[-1] == ' ') {
        text.position[-1] = '\0';
    }
    return 1;
}

void WriteModuleName(const LogContext& context, char** position, std::size_t* left) {
    if (context.name.front() != '\0') {
        Add(position, left, "%-8s ", context.name.data());
    }
}

void WriteThreadId(const LogContext& /*context*/, char** position, std::size_t* left) {
    Add(position, left, "0x%lx ", static_cast<unsigned long>(GetCurrentThreadId()));
}

}  // namespace pkisdk

#include "log/sink_write.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "log/log_record.h"

namespace pkisdk {

namespace {

// The room of one line: on the stack as long as that is short, else on the heap, behind a head that
// says how it is given back.
class RecordBuffer {
  public:
    RecordBuffer(const LogContext& context, std::size_t size) {
        if (size + kHead < kStackLimit) {
            text_ = stack_.data();
            return;
        }
        using Release = void (*)(void*);
        static_assert(sizeof(Release) <= kHead);
        const bool hasOwn = context.allocate != nullptr && context.release != nullptr;
        void* const memory = hasOwn ? context.allocate(size + kHead) : std::malloc(size + kHead);
        if (memory == nullptr) {
            return;
        }
        const Release release = hasOwn ? context.release : &std::free;
        std::memcpy(memory, &release, sizeof(release));
        text_ = static_cast<char*>(memory) + kHead;
    }
    ~RecordBuffer() {
        if (text_ != nullptr && text_ != stack_.data()) {
            void* const memory = text_ - kHead;
            void (*release)(void*) = nullptr;
            std::memcpy(&release, memory, sizeof(release));
            release(memory);
        }
    }
    RecordBuffer(const RecordBuffer&) = delete;
    RecordBuffer& operator=(const RecordBuffer&) = delete;

    // Null where there is no memory.
    char* Text() const { return text_; }

  private:
    static constexpr std::size_t kHead = 16;
    static constexpr std::size_t kStackLimit = 1025;

    char* text_ = nullptr;
    std::array<char, kStackLimit - kHead> stack_;
};

// One sink's lines of one record.
struct Sender {
    LogContext* context;
    SinkRecord* sink;
    SendLine send;
    char* text;
    // Of the line's text and terminator; the buffer has one byte more.
    std::size_t size;
    int answer = 1;

    void Send() {
        const std::size_t length = std::strlen(text);
        if (length != 0 && send(context, sink, text, length) == 0) {
            answer = 0;
        }
    }
    void SendText(const char* line) {
        std::snprintf(text, size, "%s", line);
        Send();
    }
};

// One line of a dump; without bytes it is the offset alone.
void SendDumpLine(Sender* sender, std::uint32_t number, std::span<const std::uint8_t> bytes) {
    std::array<char, 64> line{};
    int length = std::snprintf(line.data(), line.size(), "%02X0:", number);
    for (const std::uint8_t byte : bytes) {
        length += std::snprintf(line.data() + length,
                                line.size() - static_cast<std::size_t>(length), "%02X ", byte);
    }
    if (!bytes.empty()) {
        line[static_cast<std::size_t>(length) - 1] = '\0';
    }
    sender->SendText(line.data());
}

void SendDump(Sender* sender, std::span<const std::uint8_t> bytes) {
    constexpr std::size_t kBytesOfLine = 16;
    if (bytes.data() == nullptr) {
        sender->SendText(" NULL");
        return;
    }
    if ((sender->sink->fields & kLogFormDump) == 0) {
        return;
    }
    std::uint32_t number = 0;
    do {
        const auto piece = bytes.first(std::min(bytes.size(), kBytesOfLine));
        SendDumpLine(sender, number++, piece);
        bytes = bytes.subspan(piece.size());
    } while (!bytes.empty());
}

}  // namespace

int WriteRecord(LogContext* context, std::uint32_t code, std::uint32_t fields, std::uint32_t index,
                const char* file, std::int32_t line, const char* function, const char* format,
                std::va_list arguments, SendLine send) {
    SinkRecord* const sink = FindSinkRecord(context, index);
    const DWORD lastError = context->getLastError();
    const int savedErrno = context->getErrno();
    const std::size_t size = sink->maximum;
    int answer = 1;
    {
        const RecordBuffer buffer(*context, size + 1);
        if (buffer.Text() != nullptr) {
            Sender sender{context, sink, send, buffer.Text(), size};
            *sender.text = '\0';
            if ((fields & kLogFormDump) == 0) {
                FormatLogPrefix(context, sender.text, sink->fields & fields, file, line, function,
                                code, size, format, lastError, savedErrno, arguments);
                sender.Send();
            } else {
                const auto* const data = va_arg(arguments, const std::uint8_t*);
                SendDump(&sender, {data, va_arg(arguments, std::uint32_t)});
            }
            answer = sender.answer;
        }
    }
    context->setErrno(savedErrno);
    context->setLastError(lastError);
    return answer;
}

}  // namespace pkisdk

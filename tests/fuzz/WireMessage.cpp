#include "WireMessage.h"

#include <algorithm>

namespace {

class Marshaller
{
public:
    explicit Marshaller(bool toBigEndian) : isBigEndian(toBigEndian) {}

    void align(std::size_t width)
    {
        while (bytes.size() % width != 0)
            bytes += '\0';
    }

    void put(uint64_t value, std::size_t width)
    {
        align(width);
        bytes.append(width, '\0');
        patch(bytes.size() - width, value, width);
    }

    void putString(const std::string& text, std::size_t lengthWidth)
    {
        put(text.size(), lengthWidth);
        bytes += text;
        bytes += '\0';
    }

    void patch(std::size_t position, uint64_t value, std::size_t width)
    {
        for (std::size_t i = 0; i < width; ++i) {
            const std::size_t place = isBigEndian ? width - 1 - i : i;
            bytes[position + place] = static_cast<char>(value >> (8 * i));
        }
    }

    std::string bytes;

private:
    bool isBigEndian;
};

std::size_t alignmentOf(char type)
{
    switch (type) {
    case 'y':
    case 'g':
    case 'v':
        return 1;
    case 'n':
    case 'q':
        return 2;
    case 'x':
    case 't':
    case 'd':
    case '(':
    case '{':
        return 8;
    default:
        return 4;
    }
}

/** Writes values of the types of a signature, which need not be a right one. */
class ValueWriter
{
public:
    ValueWriter(Marshaller& destination, Input& valueSource) : out(destination), input(valueSource)
    {
    }

    void writeAll(const std::string& signature)
    {
        for (std::size_t position = 0; position < signature.size();)
            position = write(signature, position);
    }

private:
    /** Returns where the next type is. */
    std::size_t write(const std::string& signature, std::size_t position)
    {
        const std::size_t next = endOf(signature, position);
        const char type = signature[position];
        if (type == 'a')
            writeArray(signature.substr(position + 1, next - position - 1));
        else if (type == '(' || type == '{')
            writeFields(signature.substr(position + 1, next - position - 2));
        else
            writeBasic(type);
        return next;
    }

    void writeArray(const std::string& element)
    {
        out.put(0, 4);
        const std::size_t length = out.bytes.size();
        out.align(element.empty() ? 1 : alignmentOf(element[0]));
        const std::size_t begin = out.bytes.size();
        for (unsigned left = input.count(); left > 0; --left)
            writeAll(element);
        out.patch(length - 4, out.bytes.size() - begin, 4);
    }

    void writeFields(const std::string& fields)
    {
        out.align(8);
        writeAll(fields);
    }

    void writeBasic(char type)
    {
        switch (type) {
        case 'b':
            // Two of four are no truth values.
            return out.put(input.oneOf(4), 4);
        case 's':
        case 'o':
            return out.putString(input.bytes(), 4);
        case 'g':
            return out.putString(input.bytes(), 1);
        case 'v': {
            const std::string contents = input.bytes();
            out.putString(contents, 1);
            return writeAll(contents);
        }
        default:
            out.put(static_cast<uint64_t>(int64_t{input.number()}), alignmentOf(type));
        }
    }

    static std::size_t endOf(const std::string& signature, std::size_t position)
    {
        while (position < signature.size() && signature[position] == 'a')
            ++position;
        int depth = 0;
        while (position < signature.size()) {
            const char type = signature[position++];
            if (type == '(' || type == '{')
                ++depth;
            if (type == ')' || type == '}')
                --depth;
            if (depth <= 0)
                break;
        }
        return position;
    }

    Marshaller& out;
    Input& input;
};

} // namespace

std::string WireMessage::bytes() const
{
    Marshaller out(isBigEndian);
    out.bytes = isBigEndian ? "B" : "l";
    out.put(type, 1);
    out.put(1, 1); // no reply expected
    out.put(1, 1); // the protocol's version
    out.put(body.size(), 4);
    out.put(serial, 4);
    out.put(0, 4);
    const std::size_t fields = out.bytes.size();
    const auto beginField = [&out](unsigned field, const char* fieldType) {
        out.align(8);
        out.put(field, 1);
        out.putString(fieldType, 1);
    };
    const auto putText = [&out, &beginField](unsigned field, const char* fieldType,
                                             const std::string& text) {
        beginField(field, fieldType);
        out.putString(text, 4);
    };
    if (type == SIGNAL) {
        putText(1, "o", "/translator");
        putText(2, "s", "braille.translator");
        putText(3, "s", "somethingHappened");
    } else {
        beginField(5, "u");
        out.put(replySerial, 4);
    }
    if (type == ERROR)
        putText(4, "s", errorName);
    if (!signature.empty()) {
        beginField(8, "g");
        out.putString(signature, 1);
    }
    out.patch(fields - 4, out.bytes.size() - fields, 4);
    out.align(8);
    return out.bytes + body;
}

std::string bodyOf(const std::string& signature, bool isBigEndian, Input& input)
{
    Marshaller out(isBigEndian);
    ValueWriter(out, input).writeAll(signature);
    return out.bytes;
}

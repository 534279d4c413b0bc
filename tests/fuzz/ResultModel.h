#ifndef TESTS_FUZZ_RESULTMODEL_H
#define TESTS_FUZZ_RESULTMODEL_H

#include <cstdint>
#include <deque>
#include <string>
#include <vector>

/** What a translator answers, as far as a result looks at it. */
struct ModelAnswer
{
    enum Kind
    {
        NOTHING,
        EXCEPTION,
        RESULT
    };

    Kind kind = NOTHING;
    std::vector<int64_t> map;
    int64_t leftOffset = 0;
};

/** The length of a UTF-8 text in code points: that of the converted text. */
int64_t lengthOf(const std::string& text);

/**
 * A translation result once more, for comparison: no care for speed, no
 * cleverness, and numbers that do not overflow, with each wrap written out.
 */
class ResultModel
{
public:
    struct Call
    {
        const void* translator;
        bool isForward;
        std::wstring text;
        int64_t cursor;
    };

    /** An answer of the kind EXCEPTION was met. */
    struct TranslationThrew
    {
    };

    ResultModel(const void* itsTranslator, int direction, std::string source,
                std::string translation);
    ResultModel(const void* itsTranslator, int direction, std::wstring source,
                std::wstring translation);

    void replaceMap(const std::vector<int>& given);
    void replaceMap(const std::vector<int>& given, const std::vector<bool>& givenFlags);
    void pin(int64_t position, int64_t translatedPosition);

    int64_t translatedPosition(int64_t position);
    int64_t originalPosition(int64_t translatedPosition);
    int64_t mapLength() const;
    void addLeftOffset();
    std::string dump() const;

    bool isForward;
    bool isWide;
    const void* translator;
    int64_t leftOffset = 0;
    std::vector<int64_t> map;
    std::vector<bool> known;
    std::string untranslated;
    std::string translated;
    std::wstring untranslatedW;
    std::wstring translatedW;

    /** What the translator is going to answer, the next one first. */
    std::deque<ModelAnswer> answers;
    /** What the translator was asked. */
    std::vector<Call> calls;

private:
    void layDefaultMap(int64_t sourceLength, int64_t translatedLength);
    ModelAnswer ask(int64_t index);
};

#endif

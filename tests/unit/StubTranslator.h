#ifndef TESTS_UNIT_STUBTRANSLATOR_H
#define TESTS_UNIT_STUBTRANSLATOR_H

#include <libBrailleTranslate/BrlTranslationResult.h>
#include <libBrailleTranslate/TranslatorProxy.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

/** One translation that a result asked for. */
struct StubCall
{
    TranslatorProxy* translator;
    bool isForward;
    std::wstring text;
    int cursor;
};

using StubAnswer = std::function<std::shared_ptr<BrlTranslationResult>(const StubCall&)>;

/**
 * Stands in for every TranslatorProxy of this test program while it lives: the
 * program defines forwardW() and backW() itself, so the library's results call
 * these, no bus is needed, and answers are possible that no service can give.
 */
class StubTranslator
{
public:
    StubTranslator();
    ~StubTranslator();
    StubTranslator(const StubTranslator&) = delete;
    StubTranslator& operator=(const StubTranslator&) = delete;

    TranslatorProxy* get() { return &handle; }
    void answer(StubAnswer script) { answerTo = std::move(script); }

    /** Answers with a result that has this map. */
    void answerWithMap(const std::vector<int>& map);

    std::shared_ptr<BrlTranslationResult> translate(StubCall call);
    const std::vector<StubCall>& calls() const { return made; }

private:
    TranslatorProxy handle{0, "stub", true, "stub", nullptr};
    StubAnswer answerTo;
    std::vector<StubCall> made;
};

#endif

// A .reg file: what it says, printed, says the same.
#include "RegText.h"

#include "Fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    using namespace fuzz;
    using Kind = hostreg::RegChange::Kind;
    const std::string_view input = TextOf(data, size);
    std::vector<hostreg::RegChange> changes;
    hostreg::RegTextError error;
    if (!hostreg::ReadRegText(input, changes, error))
    {
        Require(error.line >= 1 && error.line <= size + 1 && !error.message.empty(), "an error says where and what");
        return 0;
    }
    // The writer writes what there is, and not what is to go.
    std::erase_if(
        changes, [](const auto& change) { return change.kind == Kind::deleteKey || change.kind == Kind::deleteValue; });
    hostreg::RegTextWriter writer;
    for (const hostreg::RegChange& change : changes)
        if (change.kind == Kind::openKey)
            Require(writer.Key(change.name), "a key that was read can be written");
        else
            writer.Value(change.name, change.type, change.data);

    std::vector<hostreg::RegChange> again;
    const std::string written = writer.Finish();
    Require(hostreg::ReadRegText(written, again, error), "what was written reads", error.message);
    Require(again.size() == changes.size(), "each change is written once");
    for (std::size_t i = 0; i < changes.size(); ++i)
    {
        again[i].line = changes[i].line;
        Require(again[i] == changes[i], "a change reads as it was written");
    }
    return 0;
}

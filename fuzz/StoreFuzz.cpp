// Reads what the store finds on disks and sticks: journals, records, sums. What it accepts must
// mean the same when it is written and read again, and must name only this camera's files.

#include "fuzz/MemoryFile.h"

#include "sdk/set/FileKinds.h"
#include "store/Journal.h"
#include "store/Layout.h"
#include "store/Lines.h"
#include "store/Record.h"
#include "store/Sums.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace {

using fuzz::require;
using namespace zel::store;

constexpr unsigned long serial = 7;

void requireOurs(std::string const& name) {
    require(isPlainName(name) && zel::set::belongsTo(name, serial), "a file is this camera's");
}

void tryJournal(std::string_view text) {
    auto const reading = readJournal(text, serial);
    if (!reading.journal)
        return;
    for (StagedFile const& file : reading.journal->data)
        requireOurs(file.name);
    for (auto const* const names :
         {&reading.journal->removedBefore, &reading.journal->removedAfter}) {
        for (std::string const& name : *names)
            requireOurs(name);
    }
    std::string const written = reading.journal->text();
    auto const again = readJournal(written, serial);
    require(again.journal && again.journal->text() == written, "a journal survives");
}

/// Lines that have the sum which every journal ends with.
std::string asJournal(std::string_view lines) {
    std::string text = "zentho-cali journal 1\nserial 7\n";
    text.append(lines).append("\n");
    Sha256 sum;
    sum.add(text);
    return text.append("end ").append(hexadecimal(sum.finish())).append("\n");
}

void tryRecord(std::string_view text) {
    auto const record = Record::from(text, serial);
    if (!record)
        return;
    for (std::string const& name : record->names.all())
        requireOurs(name);
    auto const again = Record::from(record->text(), serial);
    require(again && again->text() == record->text(), "a record survives");
}

void trySums(std::string_view text) {
    forEachLine(text, [](std::string_view line) {
        std::string room;
        auto const sum = readSumLine(line, room);
        if (!sum)
            return;
        std::string const written = sumLine(*sum);
        std::string roomAgain;
        auto const again =
            readSumLine(std::string_view(written).substr(0, written.size() - 1), roomAgain);
        require(again && again->name == sum->name && again->digest == sum->digest,
                "a sum survives");
    });
    std::string room;
    require(unescaped(escaped(text), room) == text, "a text survives");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    std::string_view const text(reinterpret_cast<char const*>(data), size);
    tryJournal(text);
    tryJournal(asJournal(text));
    tryRecord(text);
    trySums(text);
    if (auto const owner = zel::set::ownerOf(text))
        require(zel::set::belongsTo(zel::set::inProperCase(text), *owner), "an owner owns");
    return 0;
}

// Reads a document and walks through it, with the product's reader and with the model's, which have
// to agree. The first line of an input is the walk, two characters a step: what to do, and with
// which name. The document follows.

#include "fuzz/MemoryFile.h"

#include "sdk/SimpleXML.h"
#include "tests/support/ModelReader.h"
#include "tests/support/ReaderOperation.h"

#include <array>
#include <cstdio>
#include <string>

namespace {

using support::Operation;

constexpr std::array<char const*, 20> names{
    "a",  "b", "Range", "Framerate", "Framerates", "FR",  "FOV", "Text",   "TempLo", "x1",
    "/a", "",  "/",     "a><b",      "<a",         "!--", ">",   "/a></a", "a>",     "root"};

/// Both readers, with the same document.
class Readers {
public:
    explicit Readers(std::string const& path) {
        bool const opened = m_product.open(path.c_str(), "root");
        fuzz::require(opened == m_model.open(path.c_str(), "root"), "both open a document or none");
    }

    /// @return What the operation gave in both.
    std::string perform(Operation const& operation) {
        std::string const model = support::perform(m_model, operation);
        std::string const product = support::perform(m_product, operation);
        if (product != model)
            std::fprintf(stderr, "%s: product %s, model %s\n", describe(operation).c_str(),
                         product.c_str(), model.c_str());
        fuzz::require(product == model, "product and model agree");
        return product;
    }

private:
    zel::SimpleXML m_product;
    support::ModelReader m_model;
};

/// A descent keeps to stricter bounds than counting, so it may find fewer, but never more.
void descendToEach(Readers& readers, char const* name) {
    int const count = std::stoi(readers.perform({Operation::Count, name}));
    int found = 0;
    while (found <= count && readers.perform({Operation::SetIndexed, name, found}) == "1") {
        readers.perform({Operation::GetNode, ""});
        readers.perform({Operation::Reset, ""});
        ++found;
    }
    fuzz::require(found <= count, "no more elements are found than counted");
}

void searchTags(Readers& readers, char const* name, int limit) {
    for (bool const closing : {false, true}) {
        int from = 0;
        for (int hits = 0; hits < 50; ++hits) {
            int const hit =
                std::stoi(readers.perform({Operation::Key, name, 0, from, limit, closing}));
            if (hit < 0)
                break;
            fuzz::require(hit >= from, "tags are searched forwards");
            from = hit + 1;
        }
    }
}

void step(Readers& readers, char action, char const* name, int limit) {
    static constexpr std::array<Operation::Kind, 13> kinds{
        Operation::SetRoot,    Operation::SetNode, Operation::SetNode, Operation::SetNode,
        Operation::SetIndexed, Operation::Reset,   Operation::GetNode, Operation::Count,
        Operation::Key,        Operation::Int,     Operation::Long,    Operation::Float,
        Operation::String};
    auto const kind = kinds[static_cast<unsigned char>(action) % kinds.size()];
    if (kind == Operation::Count) {
        descendToEach(readers, name);
    } else if (kind == Operation::Key) {
        searchTags(readers, name, limit);
    } else {
        readers.perform({kind, name, 1});
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    static fuzz::MemoryFile const file;
    static std::string const path = file.path();
    static bool const silent = (fuzz::silenceTheLogger(), true);
    static_cast<void>(silent);

    std::string_view const input = fuzz::text(data, size);
    std::string_view const walk = input.substr(0, input.find('\n'));
    std::string_view const document = input.substr(std::min(walk.size() + 1, size));
    file.write(document);

    Readers readers(path);
    readers.perform({Operation::SetRoot, ""});
    for (std::size_t i = 0; i + 1 < walk.size() && i < 60; i += 2) {
        auto const name = static_cast<unsigned char>(walk[i + 1]) % names.size();
        step(readers, walk[i], names[name], static_cast<int>(document.size()));
    }
    return 0;
}

#include "tests/store/StoreFixture.h"

#include <cstring>
#include <filesystem>
#include <sstream>

namespace storetest {

namespace {

namespace fs = std::filesystem;
using namespace zel::store;

void write(std::ostream& out, std::optional<Failure> const& failure) {
    if (!failure)
        return;
    out << "failed: " << failure->message << ' ' << failure->path;
    if (failure->error != 0)
        out << ": " << std::strerror(failure->error);
    out << '\n';
}

void write(std::ostream& out, std::vector<File> const& files) {
    for (File const& file : files) {
        out << file.name << ": " << word(file.state);
        if (!file.message.empty())
            out << " (" << file.message << ')';
        for (std::string const& path : file.paths)
            out << " [" << path << ']';
        out << '\n';
    }
}

void write(std::ostream& out, std::vector<Remark> const& remarks) {
    for (Remark const& remark : remarks) {
        out << "remark: " << remark.message << ' ' << remark.path;
        if (remark.error != 0)
            out << ": " << std::strerror(remark.error);
        out << '\n';
    }
}

} // namespace

std::string seen(InstallOutcome const& outcome) {
    std::ostringstream out;
    write(out, outcome.failure);
    out << (outcome.changed ? "changed" : "unchanged")
        << (outcome.complete ? ", complete" : ", not complete")
        << (outcome.interrupted ? ", interrupted" : "") << '\n';
    write(out, outcome.files);
    write(out, outcome.remarks);
    for (unsigned long const serial : outcome.cameras)
        out << "holds " << serial << '\n';
    return out.str();
}

std::string seen(CheckOutcome const& outcome) {
    std::ostringstream out;
    write(out, outcome.failure);
    out << (outcome.complete ? "complete" : "not complete") << '\n';
    write(out, outcome.problems);
    write(out, outcome.remarks);
    return out.str();
}

std::string seen(VerifyOutcome const& outcome) {
    std::ostringstream out;
    write(out, outcome.failure);
    out << (outcome.same ? "same" : "not the same")
        << (outcome.complete ? ", complete" : ", not complete") << '\n';
    write(out, outcome.files);
    write(out, outcome.remarks);
    return out.str();
}

Tree treeOf(std::string const& directory) {
    Tree tree;
    if (!fs::exists(directory))
        return tree;
    for (auto const& entry : fs::recursive_directory_iterator(directory)) {
        std::string const path = fs::relative(entry.path(), directory);
        if (entry.is_symlink())
            tree[path] = "-> " + fs::read_symlink(entry.path()).string();
        else if (entry.is_regular_file())
            tree[path] = support::readFile(entry.path());
        else
            tree[path] = "/";
    }
    return tree;
}

Digest sumOfText(std::string_view text) {
    Sha256 sum;
    sum.add(text);
    return sum.finish();
}

support::Camera camera(int serial) {
    return support::Camera(serial).optic(23).range(-20, 100);
}

void Store::putOnStick(support::Camera const& camera, std::string const& version) const {
    for (std::string const& name : camera.fileNames())
        support::writeFile(stick + "/" + name, version + " " + name);
    support::writeFile(stick + "/" + camera.descriptionName(), camera.description());
}

InstallOutcome Store::install(unsigned long serial, InstallOptions const& options) const {
    auto source = Source::open(stick, {});
    EXPECT_FALSE(source.failure) << source.failure->path;
    return CalibrationStore(cali).install(serial, *source.source, options, {});
}

std::string Store::check(unsigned long serial) const {
    return seen(store.check(serial));
}

std::string Store::installed(std::string const& name) const {
    return support::readFile(cali + "/" + name);
}

} // namespace storetest

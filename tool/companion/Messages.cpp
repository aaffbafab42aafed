#include "tool/companion/Messages.h"

#include "tool/companion/Terminal.h"

#include "store/Files.h"

#include <unistd.h>

namespace companion {

void say(std::string const& sentence) {
    Terminal const terminal = Terminal::of(STDERR_FILENO);
    zel::store::writeAll(STDERR_FILENO,
                         terminal.bold("zentho-cali: ") + terminal.sanitized(sentence) + "\n");
}

void sayHint(Hint const& hint) {
    say("hint: " + hint.text);
    // Quoted for a shell, they hold nothing that a terminal could take for a command.
    for (std::string const& command : hint.commands)
        zel::store::writeAll(STDERR_FILENO, "  " + command + "\n");
}

} // namespace companion

"""Makes system calls of a command fail, or interrupts it in them."""
import collections
import re

# These never return, so they cannot fail.
WITHOUT_RESULT = {"execve", "exit", "exit_group", "rt_sigreturn"}

Call = collections.namedtuple("Call", "name number line", defaults=("",))


def calls_of(commands, command, trace, options=()):
    """Runs a command undisturbed. @return The result, and its calls in order, each with its number
    among those of its name and its line."""
    result = commands.run(["strace", "-qq", "-e", "signal=none", "-o", trace, *options, *command])
    counts = collections.Counter()
    calls = []
    with open(trace, encoding="utf-8", errors="replace") as lines:
        for line in lines:
            name = re.match(r"(\w+)\(", line)
            if name and name.group(1) not in WITHOUT_RESULT:
                counts[name.group(1)] += 1
                calls.append(Call(name.group(1), counts[name.group(1)], line.rstrip()))
    return result, calls


def disturbed(command, trace, injections, options=()):
    """The command with what strace calls injections."""
    names = ",".join(injection.split(":", 1)[0] for injection in injections)
    return ["strace", "-qq", "-o", trace, "-e", f"trace={names}",
            *[word for injection in injections for word in ("-e", f"inject={injection}")],
            *options, *command]

# fish completions for zentho-cali

set -l commands find check verify optics config download online
set -l on_set check verify optics config download

# One serial number, and none for "online".
set -l wants_serial "__fish_seen_subcommand_from find $on_set
    and not string match --quiet --regex -- '^[1-9][0-9]*\$' (commandline -opc)"

# In "--target=DIR", the directory begins after the "=".
set -l directories "(__fish_complete_directories (string replace --regex -- '^--[a-z]+=' '' (commandline -ct)))"

complete -c zentho-cali -f
complete -c zentho-cali -n "not __fish_seen_subcommand_from $commands" -l version -d "Print the version and exit"
complete -c zentho-cali -n __fish_use_subcommand -a find -d "Find the first attached camera, or tell whether a certain one is attached"
complete -c zentho-cali -n __fish_use_subcommand -a check -d "List the files that are missing of an installed set"
complete -c zentho-cali -n __fish_use_subcommand -a verify -d "Compare the installed files with a stick, byte by byte"
complete -c zentho-cali -n __fish_use_subcommand -a optics -d "Show optics, temperature ranges and frame rates"
complete -c zentho-cali -n __fish_use_subcommand -a config -d "Write a configuration"
complete -c zentho-cali -n __fish_use_subcommand -a download -d "Download the files that are missing of a set"
complete -c zentho-cali -n __fish_use_subcommand -a online -d "Tell whether exactly one default route is configured"

complete -c zentho-cali -s h -l help -d "Print a help text and exit"
complete -c zentho-cali -n "__fish_seen_subcommand_from $commands" -l json -d "Answer with one JSON object"
complete -c zentho-cali -n "__fish_seen_subcommand_from $commands" -s v -l verbose -d "Show the log of the library"
complete -c zentho-cali -n "__fish_seen_subcommand_from $commands" -l log -r -F -d "Write the whole log to a file"
complete -c zentho-cali -n "__fish_seen_subcommand_from $on_set" -s t -l target -x -a $directories -d "Calibration directory"
complete -c zentho-cali -n "__fish_seen_subcommand_from verify" -s s -l source -x -a $directories -d "The stick"
complete -c zentho-cali -n "__fish_seen_subcommand_from config" -s o -l output -r -F -d "Write to this file"
complete -c zentho-cali -n "__fish_seen_subcommand_from config" -l force -d "Replace the file if it exists"
complete -c zentho-cali -n "$wants_serial" -a "(__zentho_cali_serials)" -d "Serial number"

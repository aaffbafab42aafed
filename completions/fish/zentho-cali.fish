# fish completions for zentho-cali

set -l commands find install check verify list remove recover optics config download mirror online
set -l on_set install check verify list remove recover optics config download
set -l of_serial find install check verify remove optics config download

# One serial number, and none for some commands.
set -l wants_serial "__fish_seen_subcommand_from $of_serial
    and not string match --quiet --regex -- '^[1-9][0-9]*\$' (commandline -opc)
    or __fish_seen_subcommand_from mirror"

# In "--target=DIR", the directory begins after the "=".
set -l directories "(__fish_complete_directories (string replace --regex -- '^--[a-z]+=' '' (commandline -ct)))"

complete -c zentho-cali -f
complete -c zentho-cali -n "not __fish_seen_subcommand_from $commands" -l version -d "Print the version and exit"
complete -c zentho-cali -n __fish_use_subcommand -a find -d "Find the first attached camera, every one, or tell whether a certain one is attached"
complete -c zentho-cali -n __fish_use_subcommand -a install -d "Install a whole set from a stick, or nothing at all"
complete -c zentho-cali -n __fish_use_subcommand -a check -d "List what keeps installed sets from being complete"
complete -c zentho-cali -n __fish_use_subcommand -a verify -d "Compare every byte with the record, or with a stick"
complete -c zentho-cali -n __fish_use_subcommand -a list -d "List the cameras whose sets are installed, or are on a stick"
complete -c zentho-cali -n __fish_use_subcommand -a remove -d "Remove a camera's files"
complete -c zentho-cali -n __fish_use_subcommand -a recover -d "Complete what was interrupted, without the stick"
complete -c zentho-cali -n __fish_use_subcommand -a optics -d "Show optics, temperature ranges and frame rates"
complete -c zentho-cali -n __fish_use_subcommand -a config -d "Write a configuration"
complete -c zentho-cali -n __fish_use_subcommand -a download -d "Download the files that are missing of a set"
complete -c zentho-cali -n __fish_use_subcommand -a mirror -d "Make or update a mirror that any web server can serve"
complete -c zentho-cali -n __fish_use_subcommand -a online -d "Tell whether exactly one default route is configured"

complete -c zentho-cali -s h -l help -d "Print a help text and exit"
complete -c zentho-cali -n "__fish_seen_subcommand_from $commands" -l json -d "Answer with one JSON object"
complete -c zentho-cali -n "__fish_seen_subcommand_from $commands" -s v -l verbose -d "Show the log of the library"
complete -c zentho-cali -n "__fish_seen_subcommand_from $commands" -l log -r -F -d "Write the whole log to a file"
complete -c zentho-cali -n "__fish_seen_subcommand_from $on_set" -s t -l target -x -a $directories -d "Calibration directory"
complete -c zentho-cali -n "__fish_seen_subcommand_from mirror" -s s -l source -x -a $directories -d "The stick"
complete -c zentho-cali -n "__fish_seen_subcommand_from install verify list" -s s -l source -r -F -d "The stick, or an archive"
complete -c zentho-cali -n "__fish_seen_subcommand_from install verify list" -l require-sandbox -d "Refuse archives where what reads them is not confined"
complete -c zentho-cali -n "__fish_seen_subcommand_from find install mirror" -l all -d "Every camera"
complete -c zentho-cali -n "__fish_seen_subcommand_from install" -l partial -d "Install what there is although files are missing"
complete -c zentho-cali -n "__fish_seen_subcommand_from install" -l prune -d "Remove files that neither stick nor description names"
complete -c zentho-cali -n "__fish_seen_subcommand_from install remove mirror" -l dry-run -d "Only say what would be done"
complete -c zentho-cali -n "__fish_seen_subcommand_from install remove recover download mirror" -l no-wait -d "Do not wait for another process"
complete -c zentho-cali -n "__fish_seen_subcommand_from config" -l optic -x -d "Use this optic"
complete -c zentho-cali -n "__fish_seen_subcommand_from config" -l range -x -d "Use this range of it"
complete -c zentho-cali -n "__fish_seen_subcommand_from config" -l framerate -x -d "Use this frame rate of the range"
complete -c zentho-cali -n "__fish_seen_subcommand_from config" -s o -l output -r -F -d "Write to this file"
complete -c zentho-cali -n "__fish_seen_subcommand_from mirror" -s o -l output -x -a $directories -d "The directory that a web server serves"
complete -c zentho-cali -n "__fish_seen_subcommand_from mirror" -l url -x -d "Write downloadlinks.xml for this address"
complete -c zentho-cali -n "__fish_seen_subcommand_from mirror" -l sign-with -x -d "Sign each index with this key"
complete -c zentho-cali -n "__fish_seen_subcommand_from config" -l force -d "Replace the file if it exists"
complete -c zentho-cali -n "$wants_serial" -a "(__zentho_cali_serials)" -d "Serial number"

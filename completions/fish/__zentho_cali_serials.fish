function __zentho_cali_serials -d "Serial numbers in the calibration directory that the command line names"
    set -l directory /usr/share/libzentho/cali
    set -l words (commandline --current-process --tokenize --cut-at-cursor)
    for word in $words
        switch $word
            case -t --target
                set directory
            case '--target=*'
                set directory (string replace -- --target= '' $word)
            case '-t*'
                set directory (string replace -- -t '' $word)
            case '*'
                set -q directory[1]; or set directory $word
        end
    end
    set directory (string replace --regex '^~/' "$HOME/" -- "$directory")
    find "$directory" -maxdepth 1 -name 'Cali-*.xml' 2>/dev/null |
        string replace --regex --filter '.*/Cali-([1-9][0-9]*)\.xml$' '$1'
end

# fish completions for zentho-cali-install

complete -c zentho-cali-install -f
complete -c zentho-cali-install -s 1 -d "Find the first camera"
complete -c zentho-cali-install -s d -x -a "(__zentho_cali_serials)" -d "Find a certain camera"
complete -c zentho-cali-install -s s -x -a "(__fish_complete_directories)" -d "Directory to search for calibration files"
complete -c zentho-cali-install -s t -x -a "(__fish_complete_directories)" -d "Directory to install to"

# fish completion of all programs. Apart from the client, their help lists the words.

complete -c SubtitleMgrCli -f -n 'string match -q -- "-*" (commandline -ct)' \
    -a '-h --help --usage -p --ping -q --quit -l --loglevel -s --setloglevel -c
    -e --connection -i --interactive'
for program in SubtitleMgrCtl SubtitleMgrSim SubtitleMgrTap SubtitleMgrView
    complete -c $program -n 'string match -q -- "-*" (commandline -ct)' \
        -a "($program --help | string match -arg '(?:^|[ ,])(--?[a-z][a-z-]*)')"
end
for program in SubtitleMgrCtl SubtitleMgrView
    complete -c $program -n __fish_use_subcommand \
        -a "($program --help | string match -rg '^  ([a-z][a-z-]*|-)(?: |\$)')"
end

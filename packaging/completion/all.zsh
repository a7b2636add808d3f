#compdef SubtitleMgrCli SubtitleMgrCtl SubtitleMgrSim SubtitleMgrTap SubtitleMgrView
# zsh completion of all programs. Apart from the client, their help lists the words.

local pattern='(^|[ ,])--?[a-z][a-z-]*'
if [[ $words[1] == *SubtitleMgrCli ]]; then
    compadd -- -h --help --usage -p --ping -q --quit -l --loglevel -s --setloglevel -c \
        -e --connection -i --interactive
    return
elif [[ $PREFIX != -* && $words[1] == *SubtitleMgr(Ctl|View) && $CURRENT == 2 ]]; then
    pattern='^  ([a-z][a-z-]*|-)( |$)'
elif [[ $PREFIX != -* ]]; then
    _files
    return
fi
compadd -- ${(f)"$($words[1] --help | grep -oE -- $pattern | tr -d ' ,')"}

# Completion of kelvo-finder's command line in fish.

# No command has been typed yet.
function __kelvo_finder_needs_command
    test (count (commandline -opc)) -eq 1
end

# The command typed is one of these.
function __kelvo_finder_in
    set -l words (commandline -opc)
    set -q words[2]; and contains -- $words[2] $argv
end

# Nothing but the command has been typed.
function __kelvo_finder_is_bare
    test (count (commandline -opc)) -eq 2
end

# `choose` has no title yet.
function __kelvo_finder_needs_title
    __kelvo_finder_in choose; or return
    set -l value no
    for word in (commandline -opc)[3..-1]
        if test $value = yes
            set value no
        else if test "$word" = --wait
            set value yes
        else if not string match -q -- '-*' $word
            return 1
        end
    end
end

# A selection comes as arguments here.
function __kelvo_finder_takes_paths
    contains -- --stdin0 (commandline -opc); and return 1
    __kelvo_finder_in menu; and return
    __kelvo_finder_in choose; and not __kelvo_finder_needs_title
end

# Prints the titles that can be chosen in the menu of the current folder: fish does not tell what is
# behind the cursor. Prints nothing when that takes long: somebody waits.
function __kelvo_finder_titles
    timeout 2 kelvo-finder menu --wait 0.5 . 2>/dev/null </dev/null |
        sed -n '/\\\\/d; s/^ *[0-9]* *enabled  *\(.*[^ ]\)  *[^ ]*$/\1/p'
end

complete -c kelvo-finder -f
complete -c kelvo-finder -n __kelvo_finder_needs_command -l help -d 'Tell how to call it'
complete -c kelvo-finder -n __kelvo_finder_needs_command -l version -d 'Tell the version'
complete -c kelvo-finder -n __kelvo_finder_needs_command -a badges -d 'List the items of a folder with their badges'
complete -c kelvo-finder -n __kelvo_finder_needs_command -a watch -d 'Observe a folder and tell each badge that changes'
complete -c kelvo-finder -n __kelvo_finder_needs_command -a menu -d 'List what the context menu of a selection offers'
complete -c kelvo-finder -n __kelvo_finder_needs_command -a choose -d 'Choose a line of that menu'
complete -c kelvo-finder -n __kelvo_finder_needs_command -a status -d 'Tell everything that the extension says about itself'
complete -c kelvo-finder -n __kelvo_finder_needs_command -a projects -d 'List the projects of the account'
complete -c kelvo-finder -n __kelvo_finder_needs_command -a settings -d 'Tell what the settings files of the account say'
complete -c kelvo-finder -n __kelvo_finder_needs_command -a doctor -d 'Check all that badges and menus need'

complete -c kelvo-finder -n __kelvo_finder_is_bare -l help -d 'Tell how to call it'
complete -c kelvo-finder -n '__kelvo_finder_in badges menu choose' -x -l wait -d 'Seconds to wait at most'
complete -c kelvo-finder -n '__kelvo_finder_in badges' -l describe -d 'Tell state, lock owner and permission in words, too'
complete -c kelvo-finder -n '__kelvo_finder_in menu choose' -l stdin0 -d 'Read the paths from standard input'
complete -c kelvo-finder -n '__kelvo_finder_in settings' -x -l account -d 'The account alone'
complete -c kelvo-finder -n '__kelvo_finder_in doctor' -l json -d 'Print what was found as JSON'
complete -c kelvo-finder -n '__kelvo_finder_in badges watch' -a '(__fish_complete_directories (commandline -ct))'
complete -c kelvo-finder -n __kelvo_finder_takes_paths -F
complete -c kelvo-finder -k -n __kelvo_finder_needs_title -a '(__kelvo_finder_titles)'

# Completion of kelvo-finder's command line in bash.

# Prints the titles that can be chosen in the menu of the paths behind the cursor or, when none is
# typed yet, of the current folder. Prints nothing when that takes long: somebody waits.
_kelvo_finder_titles() {
  local paths=${COMP_LINE:COMP_POINT} home=${HOME@Q}
  [[ $paths == *[![:space:]]* ]] || paths=' .'
  # The words stay what they are, text: xargs takes off the quotes, and nothing is expanded.
  paths=${paths// \~\// "$home"/}
  xargs timeout 2 kelvo-finder menu --wait 0.5 -- <<<"$paths" 2>/dev/null |
    sed -n '/\\/d; s/^ *[0-9]* *enabled  *\(.*[^ ]\)  *[^ ]*$/\1/p'
}

# Offers the titles that begin with the word, in upper or lower case, quoted as it is.
_kelvo_finder_complete_title() {
  local word=$1 quote='' title
  case $word in
    [\'\"]*) quote=${word:0:1} word=${word:1} ;;
    *) word=${word//\\/} ;;
  esac
  while IFS= read -r title; do
    [[ ${title,,} == "${word,,}"* ]] || continue
    case $quote in
      \') title=${title//\'/\'\\\'\'} ;;
      \") title=$(sed 's/[$`"]/\\&/g' <<<"$title") ;;
      # A colon or an equals sign would begin another word.
      *) printf -v title %q "$title"; title=${title//:/\\:}; title=${title//=/\\=} ;;
    esac
    COMPREPLY+=("$title")
  done < <(_kelvo_finder_titles)
}

_kelvo_finder() {
  local current=${COMP_WORDS[COMP_CWORD]} command=${COMP_WORDS[1]}
  local operands=0 options='' ended='' input='' value='' i
  COMPREPLY=()
  if ((COMP_CWORD == 1)); then
    COMPREPLY=($(compgen -W 'badges watch menu choose status projects settings doctor
                             --help --version' -- "$current"))
    return
  fi
  for ((i = 2; i < COMP_CWORD; i++)); do
    if [[ $value ]]; then
      value=''
      continue
    fi
    case $ended${COMP_WORDS[i]} in
      --) ended=yes ;;
      --wait | --account) value=yes ;;
      --stdin0) input=yes ;;
      -*) ;;
      *) ((++operands)) ;;
    esac
  done
  [[ $value ]] && return

  if [[ -z $ended && $current == -* ]]; then
    case $command in
      badges) options='--wait --describe' ;;
      menu | choose) options='--wait --stdin0' ;;
      settings) options='--account' ;;
      doctor) options='--json' ;;
    esac
    ((COMP_CWORD == 2)) && options+=' --help'
    COMPREPLY=($(compgen -W "$options" -- "$current"))
    return
  fi
  case $command in
    badges | watch) ((operands)) || compopt -o dirnames ;;
    menu) [[ $input ]] || compopt -o default ;;
    choose)
      if ((operands == 0)); then
        _kelvo_finder_complete_title "$current"
      elif [[ -z $input ]]; then
        compopt -o default
      fi ;;
  esac
}

complete -F _kelvo_finder kelvo-finder

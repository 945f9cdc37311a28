# SPDX-License-Identifier: Apache-2.0
#
# bash completion for vek2txt, vekdiff, vekinfo and vektest: their options, and names of files.

_vek_tools() {
  local cur=${COMP_WORDS[COMP_CWORD]} options='--help --version' i
  COMPREPLY=()
  [[ ${1##*/} != vekdiff ]] || options+=' --diff-options='

  # After "--" a word is a file even if it begins with "-".
  for ((i = 1; i < COMP_CWORD; ++i)); do
    [[ ${COMP_WORDS[i]} != -- ]] || options=
  done

  if [[ $options && $cur == -* ]]; then
    COMPREPLY=($(compgen -W "$options" -- "$cur"))
    [[ ${COMPREPLY[0]-} != *= ]] || compopt -o nospace 2>/dev/null
  elif declare -F _filedir >/dev/null; then
    _filedir vek
  fi
}

# Without an answer of the function bash offers all names of files.
complete -F _vek_tools -o default vek2txt vekdiff vekinfo vektest

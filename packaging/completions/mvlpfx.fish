# fish completion for mvlpfx
complete -c mvlpfx -f

# Whether the command line begins with one of these subcommands.
function __mvlpfx_runs
    set -l words (commandline -opc)
    contains -- "$words[2]" $argv
end

# Whether what stands before the cursor is help, and these words behind it.
function __mvlpfx_helps
    set -l words (commandline -opc)
    test "$words[2..]" = "help$argv"
end

complete -c mvlpfx -n __fish_use_subcommand -a new -d 'Make a key and a self-signed certificate'
complete -c mvlpfx -n __fish_use_subcommand -a keys -d 'List key containers, or delete one'
complete -c mvlpfx -n __fish_use_subcommand -a certs -d 'List, add or delete certificates'
complete -c mvlpfx -n __fish_use_subcommand -a create -d 'Make a document'
complete -c mvlpfx -n __fish_use_subcommand -a info -d 'Show what a document holds'
complete -c mvlpfx -n __fish_use_subcommand -a verify -d 'Check a password'
complete -c mvlpfx -n __fish_use_subcommand -a restore -d 'Restore keys and certificates'
complete -c mvlpfx -n __fish_use_subcommand -a register -d 'Let programs find the functions by OID'
complete -c mvlpfx -n __fish_use_subcommand -a unregister -d 'Undo what undoing takes back'
complete -c mvlpfx -n __fish_use_subcommand -a help -d 'Print what a subcommand takes'
complete -c mvlpfx -n __mvlpfx_helps -a 'new keys certs create info verify restore register unregister'
complete -c mvlpfx -n '__mvlpfx_helps " keys"' -a 'list delete'
complete -c mvlpfx -n '__mvlpfx_helps " certs"' -a 'list add delete'

complete -c mvlpfx -s h -l help -d 'Print help'
complete -c mvlpfx -n __fish_use_subcommand -l version -d 'Print the version'

set -l any 'not __fish_use_subcommand; and not __mvlpfx_runs help'
complete -c mvlpfx -n $any -l json -d 'Report as one line of JSON'
complete -c mvlpfx -n $any -l quiet -d 'Print nothing but lists and errors'
complete -c mvlpfx -n $any -l max-iterations -x -d 'Refuse more iterations'

set -l pass '__mvlpfx_runs create info verify restore'
complete -c mvlpfx -n $pass -l pass-file -r -F -d 'First line of a file'
complete -c mvlpfx -n $pass -l pass-fd -x -d 'First line of a descriptor'
complete -c mvlpfx -n $pass -l pass-env -x -a '(set -n)' -d 'Value of a variable'
complete -c mvlpfx -n $pass -l pass-stdin -d 'First line of standard input'

set -l pin '__mvlpfx_runs new create'
complete -c mvlpfx -n $pin -l pin-file -r -F -d 'First line of a file'
complete -c mvlpfx -n $pin -l pin-fd -x -d 'First line of a descriptor'
complete -c mvlpfx -n $pin -l pin-env -x -a '(set -n)' -d 'Value of a variable'

set -l new '__mvlpfx_runs new'
complete -c mvlpfx -n $new -l subject -x -d 'Name of the certificate'
complete -c mvlpfx -n $new -l algorithm -x -a 'gost2001 gost2012-256 gost2012-512'
complete -c mvlpfx -n $new -l curve -x -d 'Identifier of the curve'
complete -c mvlpfx -n $new -l days -x -d 'Validity'
complete -c mvlpfx -n $new -l container -x -d 'Name of the container'
complete -c mvlpfx -n $new -l exportable -d 'Let the key leave its container'
complete -c mvlpfx -n $new -l machine -d 'For the machine'

set -l keys '__mvlpfx_runs keys'
complete -c mvlpfx -n $keys -a 'list delete'
complete -c mvlpfx -n $keys -l machine -d 'Of the machine'

set -l certs '__mvlpfx_runs certs'
complete -c mvlpfx -n $certs -F -a 'list add delete'
complete -c mvlpfx -n $certs -l store -x -a 'MY CA ROOT'
complete -c mvlpfx -n $certs -l machine -d 'Of the machine'

set -l create '__mvlpfx_runs create'
complete -c mvlpfx -n $create -s o -l output -r -F -d 'The document'
complete -c mvlpfx -n $create -l subject -x -d 'With this text in their subject'
complete -c mvlpfx -n $create -l thumbprint -x -d 'With this SHA-1'
complete -c mvlpfx -n $create -l container -x -d 'With a key in this container'
complete -c mvlpfx -n $create -l chain -d 'Take issuers along'
complete -c mvlpfx -n $create -l names -d 'Write the names of provider and containers'
complete -c mvlpfx -n $create -l pem -d 'As text'
complete -c mvlpfx -n $create -l force -d 'Replace a file that is there'
complete -c mvlpfx -n $create -l allow-missing-keys -d 'Leave out keys that cannot be reached'
complete -c mvlpfx -n $create -l machine -d 'Of the machine'

complete -c mvlpfx -n '__mvlpfx_runs info verify restore' -F
complete -c mvlpfx -n '__mvlpfx_runs info' -l tree -d 'Show every element'

set -l restore '__mvlpfx_runs restore'
complete -c mvlpfx -n $restore -l exportable -d 'Let the keys leave their containers'
complete -c mvlpfx -n $restore -l machine -d 'For the machine'
complete -c mvlpfx -n $restore -l keys-only -d 'Leave the system stores alone'
complete -c mvlpfx -n $restore -l pin-from-password -d 'Make the password the PIN'
complete -c mvlpfx -n $restore -l dry-run -d 'Write nothing'

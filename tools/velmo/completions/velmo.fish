# Completion of velmo for fish.

# The values of the field "name" in JSON lines.
# Deliberate: string does not read what is piped to a function; cat does.
function __velmo_names
    cat | string match -rg '^{"name":"([^"\\\\]*)"'
end

# Whether these words, and no further command, follow velmo.
function __velmo_in
    set -l words (commandline -opc)
    set -l given (string match -v -- '-*' $words[2..])
    switch "$argv"
        case ''
            test -z "$given[1]"
        case 'queue *'
            test "$given[1] $given[2]" = "$argv"
        case queue
            test "$given[1]" = queue; and not contains -- "$given[2]" show cancel
        case '*'
            test "$given[1]" = "$argv"
    end
end

# The command of submit may name files.
complete -c velmo -n 'not __velmo_in submit' -f
complete -c velmo -s h -l help -d 'print help'
complete -c velmo -n '__velmo_in' -l version -d 'print the version'
complete -c velmo -n '__velmo_in' -a submit -d 'submit tasks'
complete -c velmo -n '__velmo_in' -a job -d 'find or make a job'
complete -c velmo -n '__velmo_in' -a queue -d 'list, show and cancel tasks'
complete -c velmo -n '__velmo_in' -a priorities -d 'list priority classes'
complete -c velmo -n '__velmo_in' -a service -d 'list machines and the service'
complete -c velmo -n '__velmo_in' -a doctor -d 'find out why nothing happens'

complete -c velmo -n '__velmo_in submit' -s p -l class -x -a '(velmo priorities --json 2>/dev/null | __velmo_names)' -d 'priority class'
complete -c velmo -n '__velmo_in submit' -s d -l adjustment -x -a '(velmo priorities --json 2>/dev/null | __velmo_names)' -d 'priority adjustment'
complete -c velmo -n '__velmo_in submit' -s t -l type -x -a 'sh java' -d 'kind of command'
complete -c velmo -n '__velmo_in submit' -s j -l job -x -d 'identifier of the job'
complete -c velmo -n '__velmo_in submit' -s s -l sub-job -x -d 'identifier of the sub-job'
complete -c velmo -n '__velmo_in submit' -s i -l information -x -d 'job information'
complete -c velmo -n '__velmo_in submit' -s r -l relative-priority -x -d 'priority within the class'
complete -c velmo -n '__velmo_in submit' -l child-of -x -d 'submit a child of this sub-job'
complete -c velmo -n '__velmo_in submit' -l durable -d 'survive a power cut'
complete -c velmo -n '__velmo_in submit' -l timeout -x -d 'seconds to wait'
complete -c velmo -n '__velmo_in submit' -l to -x -d 'submit by message to this service'
complete -c velmo -n '__velmo_in submit' -l service -d 'submit by message to the service of modules.xml'
complete -c velmo -n '__velmo_in submit' -l modules -r -F -d 'modules.xml for --service'
complete -c velmo -n '__velmo_in submit' -l dry-run -d 'submit nothing, show what would be submitted'
complete -c velmo -n '__velmo_in submit' -l stdin -d 'submit the commands on standard input'
complete -c velmo -n '__velmo_in submit' -l failed -r -F -d 'write the lines that failed to this file'
complete -c velmo -n '__velmo_in submit' -l json -d 'print JSON'

complete -c velmo -n '__velmo_in job' -l dir -x -a '(__fish_complete_directories)' -d 'directory of the job files'
complete -c velmo -n '__velmo_in job' -l user -x -a '(__fish_complete_users)' -d 'user of a new job'
complete -c velmo -n '__velmo_in job' -l name -x -d 'name of a new job'
complete -c velmo -n '__velmo_in job' -l priority -x -d 'priority of a new job'
complete -c velmo -n '__velmo_in job' -l durable -d 'survive a power cut'
complete -c velmo -n '__velmo_in job' -l timeout -x -d 'seconds to wait'
complete -c velmo -n '__velmo_in job' -l json -d 'print JSON'

complete -c velmo -n '__velmo_in queue' -a show -d 'show a task'
complete -c velmo -n '__velmo_in queue' -a cancel -d 'remove tasks'
complete -c velmo -n '__velmo_in queue' -l json -d 'print JSON'
complete -c velmo -n '__velmo_in queue' -l watch -d 'show the queue as it changes'
complete -c velmo -n '__velmo_in queue' -l job -x -d 'only tasks of this job'
complete -c velmo -n '__velmo_in queue' -l sub-job -x -d 'only tasks of this sub-job'
complete -c velmo -n '__velmo_in queue' -l type -x -d 'only tasks of this type'
complete -c velmo -n '__velmo_in queue' -l older-than -x -d 'only tasks older than this many seconds'
complete -c velmo -n '__velmo_in queue' -l limit -x -d 'only the first tasks'
complete -c velmo -n '__velmo_in queue' -l commands -d 'show the commands'
complete -c velmo -n '__velmo_in queue show' -l json -d 'print JSON'
complete -c velmo -n '__velmo_in queue show' -a '(velmo queue --json 2>/dev/null | __velmo_names)' -d task
complete -c velmo -n '__velmo_in queue cancel' -l json -d 'print JSON'
complete -c velmo -n '__velmo_in queue cancel' -a '(velmo queue --json 2>/dev/null | __velmo_names)' -d task

complete -c velmo -n '__velmo_in priorities' -l json -d 'print JSON'

complete -c velmo -n '__velmo_in service' -l modules -r -F -d 'the modules.xml'
complete -c velmo -n '__velmo_in service' -l json -d 'print JSON'

complete -c velmo -n '__velmo_in doctor' -l json -d 'print JSON'
complete -c velmo -n '__velmo_in doctor' -l connect -d 'also connect to the service'
complete -c velmo -n '__velmo_in doctor' -l modules -r -F -d 'modules.xml for --connect'
complete -c velmo -n '__velmo_in doctor' -l break-lock -d 'remove a stale lock file of the job counter'

#ifndef VELMO_STANDIN_HELPTEXT_H
#define VELMO_STANDIN_HELPTEXT_H

namespace velmo::standin {

/// What --help prints. velmo-standin.1 has the same options, variables and exit statuses.
constexpr const char* kHelp =
    R"(Usage: velmo-standin [OPTION...] [-- COMMAND [ARG...]]

Takes the place of the velmo daemon while COMMAND runs: creates a private
installation, runs COMMAND in its environment, runs the sh tasks that are submitted
and reports each on standard error. When COMMAND has ended, it finishes the queue,
removes the installation and exits with the exit status of COMMAND.

  --home DIR      create the installation in DIR and keep it
  --keep          keep the temporary directory that is used without --home
  --no-run        run no tasks: their files stay in the queue
  --show-output   print the output of each task after its report
  --fail-on-task  exit with 123 if COMMAND succeeded and a task failed
  --port N        accept tasks by message too, on port N of 127.0.0.1; 0: any free port
  --fault KIND    fail as a service may, to test programs; --fault help lists the kinds
  --faults N      fail only the first N times
  -h, --help      print this text
  --version       print the version

Without COMMAND it prints the environment as lines for a shell, closes standard
output and serves until SIGINT, SIGTERM, SIGHUP or SIGQUIT. With COMMAND it passes
these signals on and waits for COMMAND. A second signal ends everything at once;
the rest of the queue is not run.

Environment of COMMAND and of the tasks:
  CONF, VELMO_HOME, VAR, TMP, DATA, LOCK_VAR         directories, see Files
  SHARED_VELMO_TASKID, SEMAPHORE_VELMO_TASKID        keys of the task counter
  VELMO_MODULES_XML                                  conf/modules.xml, with --port
  TMPDIR is read: parent of the temporary directory, /tmp if unset.

Files in DIR (existing files are kept, so edit them for the next run):
  conf/priorities.cfg, conf/serverid.cfg             CONF
  conf/modules.xml   with --port: names the port; replaced at start, removed at end
  home/priorities.cfg                                VELMO_HOME
  var/taskqueue/NAME, var/log/NAME.log               VAR: tasks, their output
  tmp/, data/velmo/jobid, lock/                      TMP, DATA, LOCK_VAR

Tasks run one at a time in the order of their names, by /bin/sh in DIR.

Exit status:
  that of COMMAND, or 128+N if signal N ended it; 0 without COMMAND
  2      wrong usage
  123    a task failed, with --fail-on-task
  125    the installation could not be created or served
  126    COMMAND could not be executed
  127    COMMAND was not found
  128+N  a second signal, N, ended everything
)";

}  // namespace velmo::standin

#endif

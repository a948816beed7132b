# fish completion for sonivel

set -l commands analyze export tag help
set -l presets spotify youtube tidal apple amazon podcast podcast-mono ebu-r128 atsc-a85

complete -c sonivel -n "not __fish_seen_subcommand_from $commands" -a analyze -d 'Measure the files'
complete -c sonivel -n "not __fish_seen_subcommand_from $commands" -a export -d 'Normalize the files'
complete -c sonivel -n "not __fish_seen_subcommand_from $commands" -a tag -d 'Write ReplayGain tags into the files'
complete -c sonivel -n "not __fish_seen_subcommand_from $commands" -a help -d 'Show the help'
complete -c sonivel -n "not __fish_seen_subcommand_from $commands" -s v -l version -d 'Show the version'
complete -c sonivel -n "not __fish_seen_subcommand_from $commands" -l choose-files -d 'Open the window and choose files'
complete -c sonivel -n "not __fish_seen_subcommand_from $commands" -l export-with-last-settings -d 'Open the window and export as last time'
complete -c sonivel -s h -l help -d 'Show the help'

complete -c sonivel -n "__fish_seen_subcommand_from analyze" -l json -d 'Print one JSON array'
complete -c sonivel -n "__fish_seen_subcommand_from analyze" -l csv -d 'Print a CSV table'

complete -c sonivel -n "__fish_seen_subcommand_from export" -l out -x -a '(__fish_complete_directories)' -d 'Folder that receives the normalized subfolder'
complete -c sonivel -n "__fish_seen_subcommand_from export" -l format -x -a 'wav16 wav24 wav32 mp3_320 mp3_192 mp3_128 flac vorbis opus aac same' -d 'Output format'
complete -c sonivel -n "__fish_seen_subcommand_from export" -l rate -x -a '44100 48000 96000' -d 'Output sample rate'
complete -c sonivel -n "__fish_seen_subcommand_from export" -l limiter -d 'Limit true peaks to the ceiling'
complete -c sonivel -n "__fish_seen_subcommand_from export" -l no-limiter -d 'Lower the gain instead'
complete -c sonivel -n "__fish_seen_subcommand_from export" -l overwrite -d 'Replace earlier outputs of the same names'
complete -c sonivel -n "__fish_seen_subcommand_from export" -l skip-existing -d 'Leave out files whose output is newer'
complete -c sonivel -n "__fish_seen_subcommand_from export" -l settings -r -F -d 'A saved settings file'

complete -c sonivel -n "__fish_seen_subcommand_from analyze export" -l target -x -d 'Target loudness in LUFS'
complete -c sonivel -n "__fish_seen_subcommand_from analyze export" -l normalize-by -x -a 'loudest integrated' -d 'The figure aimed at the target'
complete -c sonivel -n "__fish_seen_subcommand_from analyze export" -l ceiling -x -d 'The highest true peak in dBTP'
complete -c sonivel -n "__fish_seen_subcommand_from analyze export" -l preset -x -a "$presets" -d 'A platform target'
complete -c sonivel -n "__fish_seen_subcommand_from analyze export" -l channels -x -a 'sum average' -d 'How the channels make the loudness'
complete -c sonivel -n "__fish_seen_subcommand_from analyze export" -l album -d 'One correction per album, keeping its balance'
complete -c sonivel -n "__fish_seen_subcommand_from analyze export" -l no-cache -d 'Measure every file again, without the analysis cache'

complete -c sonivel -n "__fish_seen_subcommand_from tag" -l album -d 'Add album gains, each album measured as one programme'
complete -c sonivel -n "__fish_seen_subcommand_from tag" -l dry-run -d 'Print what would be written'
complete -c sonivel -n "__fish_seen_subcommand_from tag" -l remove -d 'Take the loudness tags off'
complete -c sonivel -n "__fish_seen_subcommand_from tag" -l skip-existing -d 'Leave files already tagged with these figures'
complete -c sonivel -n "__fish_seen_subcommand_from tag" -l keep-time -d 'Keep the modification times'
complete -c sonivel -n "__fish_seen_subcommand_from tag" -l no-cache -d 'Measure every file again, without the analysis cache'

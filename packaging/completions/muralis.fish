# Completion of muralis for fish.
complete -c muralis -f
complete -c muralis -l port -x -d 'Listen on this port'
complete -c muralis -l demo -d 'Tell of a built-in player'
complete -c muralis -l player -x -d 'Follow this player'
complete -c muralis -l wallpaper -d 'Make covers the wallpaper'
complete -c muralis -s h -l help -d 'Print a summary'
complete -c muralis -l version -d 'Print the version'

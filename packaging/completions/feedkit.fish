# Completion of feedkit for fish.
complete -c feedkit -l pretty -d 'A field on each line'
complete -c feedkit -l kind -d 'Only name and kind'
complete -c feedkit -l lenient -d 'Forgive what is usually wrong'
complete -c feedkit -l watch -x -d 'Fetch again every so many seconds'
complete -c feedkit -s j -l jobs -x -d 'Documents at once'
complete -c feedkit -s h -l help -d 'Print a summary'
complete -c feedkit -l version -d 'Print the version'

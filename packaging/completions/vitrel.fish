# Completion of vitrel for fish.
set -l commands play idle snapshot film configure compositions feed-url options xscreensaver doctor inspect make evaluate profile patches schema code wallpaper
set -l none "not __fish_seen_subcommand_from $commands"
set -l saver "not __fish_seen_subcommand_from idle film configure compositions feed-url options xscreensaver doctor inspect make evaluate profile patches schema code wallpaper"
set -l play "$saver; and not __fish_seen_subcommand_from snapshot"
set -l sizes "1280x720 1920x1080 3840x2160"

function __vitrel_in
    __fish_seen_subcommand_from $argv
end
# Only compositions, and the folders on the way to them.
function __vitrel_files
    __fish_complete_suffix .qtz
end
function __vitrel_listed
    vitrel compositions list 2>/dev/null | string sub -s 3
end

complete -c vitrel -f
complete -c vitrel -s h -l help -d 'Print a summary'
complete -c vitrel -n "$none" -l version -d 'Print the version'
complete -c vitrel -n "$none" -a play -d 'Play on every display, or in one window'
complete -c vitrel -n "$none" -a idle -d 'Play when the desktop has been idle'
complete -c vitrel -n "$none" -a snapshot -d 'Play without a display and write one picture'
complete -c vitrel -n "$none" -a film -d 'Write a moving picture'
complete -c vitrel -n "$none" -a configure -d 'Open the settings window'
complete -c vitrel -n "$none" -a compositions -d 'Show or change the list of compositions'
complete -c vitrel -n "$none" -a feed-url -d "Show or store a composition's feed address"
complete -c vitrel -n "$none" -a options -d 'Show or store what may be set at a composition'
complete -c vitrel -n "$none" -a xscreensaver -d 'Put Vitrel into the list of XScreenSaver'
complete -c vitrel -n "$none" -a doctor -d 'Look for what is missing'
complete -c vitrel -n "$none" -a inspect -d 'Tell what a composition is made of'
complete -c vitrel -n "$none" -a make -d 'Make a composition from its text form'
complete -c vitrel -n "$none" -a evaluate -d 'Print the outputs of a composition'
complete -c vitrel -n "$none" -a patches -d 'List the patches of compositions'
complete -c vitrel -n "$none" -a schema -d 'Print a JSON Schema of the text form'
complete -c vitrel -n "$none" -a profile -d 'Tell what each patch costs'
complete -c vitrel -n "$none" -a code -d 'Write a text as a QR code or a barcode'
complete -c vitrel -n "$none" -a wallpaper -d 'Make a picture for a screen from a cover'

complete -c vitrel -n "$saver" -l file -r -a '(__vitrel_files)' -d 'The composition'
complete -c vitrel -n "$saver" -l demo -d 'With a built-in player'
complete -c vitrel -n "$saver" -l player -x -d 'Follow this player'
complete -c vitrel -n "$saver" -l system-version -x -d 'The version that the saver sees'
complete -c vitrel -n "$saver" -l trace -r -F -d 'Write changes of inputs'
complete -c vitrel -n "$saver" -l input -x -d 'KEY=VALUE sets a published input'
complete -c vitrel -n "$saver" -l sound -r -F -a 'on off' -d 'What compositions hear'
complete -c vitrel -n "$saver; or __vitrel_in film evaluate profile" -l replay -r -F -d 'All comes from this trace'
complete -c vitrel -n "$saver; or __vitrel_in film evaluate profile" -l view -x -d 'Which of its views'
complete -c vitrel -n "$play" -l window -d 'In an ordinary window'
complete -c vitrel -n "$play" -l window-id -x -d 'In the window with this number'
complete -c vitrel -n "$play" -l root -d 'In the window of the screen saver daemon'
complete -c vitrel -n "$play" -l random -d 'One of your compositions'
complete -c vitrel -n "$play" -l panel -d 'With a window: inputs as controls beside it'
complete -c vitrel -n "$play" -l watch -d 'Load the file anew when it changes'
complete -c vitrel -n "$play" -l no-fade -d 'Come up at once'
complete -c vitrel -n "$play" -l fade -x -d 'Seconds for which it comes up'
complete -c vitrel -n "$play" -l monitors -x -a 'all primary' -d 'Which displays are covered'
complete -c vitrel -n "$play" -l display -x -d 'The X server'
complete -c vitrel -n "$saver; or __vitrel_in film configure feed-url options inspect make evaluate profile" -a '(__vitrel_files)'
complete -c vitrel -n '__vitrel_in make' -a '(__fish_complete_suffix .json)'
complete -c vitrel -n '__vitrel_in idle' -l after -x -d 'Minutes'
complete -c vitrel -n '__vitrel_in idle' -l not-on-battery -d 'Only while plugged in'
complete -c vitrel -n '__vitrel_in idle' -l status -d 'Say who starts the saver here, and end'
complete -c vitrel -n '__vitrel_in idle' -l version -d 'Print the version'

complete -c vitrel -n '__vitrel_in snapshot' -s o -l output -r -F -d 'The PNG file'
complete -c vitrel -n '__vitrel_in snapshot' -l size -x -a "$sizes" -d 'Pixels'
complete -c vitrel -n '__vitrel_in snapshot' -l after -x -d 'Seconds to play'
complete -c vitrel -n '__vitrel_in snapshot' -l thumbnail -d 'For a file manager'
complete -c vitrel -n '__vitrel_in film profile' -l seconds -x -d 'How long'
complete -c vitrel -n '__vitrel_in film profile' -l size -x -a "$sizes" -d 'Pixels'
complete -c vitrel -n '__vitrel_in film' -l fps -x -d 'Frames a second'
complete -c vitrel -n '__vitrel_in film' -l demo -d 'With a built-in player'
complete -c vitrel -n '__vitrel_in film' -F
complete -c vitrel -n '__vitrel_in film profile' -l input -x -d 'KEY=VALUE sets a published input'
complete -c vitrel -n '__vitrel_in film profile' -l sound -r -F -a off -d 'What it hears'
complete -c vitrel -n '__vitrel_in profile' -l json -d 'For programs'
complete -c vitrel -n '__vitrel_in snapshot film compositions feed-url options' -l verbose -d "The system's own lines, too"

complete -c vitrel -n '__vitrel_in compositions; and not __vitrel_in list add remove use built-in random' -a 'list add remove use built-in random'
complete -c vitrel -n '__vitrel_in compositions; and __vitrel_in add' -a '(__vitrel_files)'
complete -c vitrel -n '__vitrel_in compositions; and __vitrel_in add' -a '(__fish_complete_suffix .zip)'
complete -c vitrel -n '__vitrel_in compositions; and __vitrel_in remove use' -a '(__vitrel_listed)'
complete -c vitrel -n '__vitrel_in compositions; and __vitrel_in use' -a '(vitrel compositions built-in 2>/dev/null | string sub -s 3)'
complete -c vitrel -n '__vitrel_in compositions; and __vitrel_in random' -a 'on off'
complete -c vitrel -n '__vitrel_in xscreensaver' -a 'add remove status'
complete -c vitrel -n '__vitrel_in xscreensaver' -l file -r -F -d 'Another file than ~/.xscreensaver'
complete -c vitrel -n '__vitrel_in doctor' -l player -x -d 'Look at this player'
complete -c vitrel -n '__vitrel_in doctor' -l system-version -x -d 'As for play'

complete -c vitrel -n '__vitrel_in inspect' -l source -d 'Print the text form'
complete -c vitrel -n '__vitrel_in inspect' -l graph -r -F -d 'Draw it'
complete -c vitrel -n '__vitrel_in inspect' -l open -x -d 'A macro'
complete -c vitrel -n '__vitrel_in evaluate' -l at -x -d 'Seconds at which to print'
complete -c vitrel -n '__vitrel_in evaluate' -l fps -x -d 'Frames a second'
complete -c vitrel -n '__vitrel_in evaluate' -l input -x -d 'KEY=VALUE sets a published input'
complete -c vitrel -n '__vitrel_in patches' -f -a '(vitrel patches 2>/dev/null | string match -rg "^  ([^ ]+)")'
complete -c vitrel -n '__vitrel_in patches' -l json -d 'All that there is to know of all'
complete -c vitrel -n '__vitrel_in code' -l qr -d 'A QR code'
complete -c vitrel -n '__vitrel_in code' -l barcode -d 'A Code 128 barcode'
complete -c vitrel -n '__vitrel_in code' -l scale -x -d 'Pixels a module'
complete -c vitrel -n '__vitrel_in wallpaper' -l size -x -a "$sizes" -d 'Pixels'
complete -c vitrel -n '__vitrel_in wallpaper' -l style -x -a 'mural fill backdrop' -d 'How'
complete -c vitrel -n '__vitrel_in wallpaper' -l difference -x -d 'How far off the shape may be'
complete -c vitrel -n '__vitrel_in code wallpaper' -F
complete -c vitrel -n '__fish_seen_subcommand_from make' -l strict -d 'Make nothing if there is a warning'

#compdef l3ctl
# Completion of l3ctl for zsh: l3ctl writes it when the first of its command lines is completed.
eval "$(PATH=$PATH:/usr/sbin:/sbin l3ctl completion zsh 2>/dev/null)"

# Completion of l3ctl for bash: l3ctl writes it when the first of its command lines is completed.
eval "$(PATH=$PATH:/usr/sbin:/sbin l3ctl completion bash 2>/dev/null)"

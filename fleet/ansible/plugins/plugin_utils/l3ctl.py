# Copyright: the l3_advance developers
# GNU General Public License v3.0 or later (see LICENSE)
"""l3ctl on a gateway, run over any connection of Ansible: no Python, no file and no data in a shell's text over there."""

from __future__ import annotations

import json
import re
import time

from ansible.errors import AnsibleActionFail, AnsibleConnectionFailure
from ansible.module_utils.common.text.converters import to_text
from ansible.plugins.action import ActionBase

# A session that is no login leaves out where system programs are. Nothing but words of this kind is added to it.
COMMAND = "PATH=$PATH:/usr/local/sbin:/usr/sbin:/sbin l3ctl"
WORD = re.compile(r"(-|--?[a-z-]+|[a-z][a-z_-]*|[0-9]+|[0-9a-f]{16})")

# Exit statuses of l3ctl.
DONE, CHANGES, UNANSWERED, BUSY = 0, 2, 4, 5
NOT_FOUND = 127

# A connection that a change cuts off has to be noticed, though nothing closes it.
KEEP_ALIVE = " -o ServerAliveInterval=5 -o ServerAliveCountMax=2"
# Seconds that a rollback may take beyond its deadline.
PATIENCE = 30

CONFIRM_OPTIONS = {
    "confirm_timeout": {"type": "int", "default": 120},
    "busy_timeout": {"type": "int", "default": 60},
}


class Failure(Exception):
    """The gateway's own words, and what is returned besides."""

    def __init__(self, message, **result):
        super().__init__(message)
        self.result = result


class LostAnswer(Failure):
    """What l3ctl did is not known: its answer did not arrive, or not all of it."""


class Answer:
    """How a run of l3ctl ended."""

    def __init__(self, raw, is_json):
        self.status = raw["rc"]
        self.text = raw["stdout"]
        self.errors = raw["stderr"].strip()
        self.json = self._parsed() if is_json else None

    def _parsed(self):
        try:
            parsed = json.loads(self.text)
        except ValueError:
            return None
        return parsed if isinstance(parsed, dict) else None

    def message(self):
        """What went wrong, as l3ctl says it."""
        told = self.json or {}
        rules = [rule["message"] + (f" ({rule['setting']})" if rule["setting"] else "") for rule in told.get("failed_rules", [])]
        parts = [*told.get("messages", []), told.get("error"), *told.get("failed", []), *rules]
        parts = list(dict.fromkeys(part for part in parts if part))
        return "; ".join(parts) or self.errors or f"l3ctl ended with {self.status} and said nothing"


class L3ctlAction(ActionBase):
    """What the actions have in common. Each has `options`, and `act(arguments)` that returns a result."""

    TRANSFERS_FILES = False
    _supports_check_mode = True
    _supports_async = False
    options: dict = {}
    requirements: dict = {}
    _is_reached = False

    def run(self, tmp=None, task_vars=None):
        result = super().run(tmp, task_vars)
        _unused, arguments = self.validate_argument_spec(self.options, **self.requirements)
        if arguments.get("confirm_timeout", 0) not in range(0, 86401):
            raise AnsibleActionFail("confirm_timeout: 0 to 86400 seconds are allowed")
        self._notice_dead_connections()
        try:
            result.update(self.act(arguments))
        except Failure as failure:
            result.update({"changed": False, **failure.result, "failed": True, "msg": str(failure)})
        return result

    def act(self, arguments):
        raise NotImplementedError

    # --- one run of l3ctl ---

    def l3ctl(self, *words, data=None, is_json=True, expected=(DONE,), busy_timeout=0):
        """Runs it with `data` on its standard input, again while the gateway is busy. Fails on other statuses."""
        words = [str(word) for word in ((*words, "--json") if is_json else words)]
        for word in words:
            if not WORD.fullmatch(word):
                raise AnsibleActionFail(f"{word!r} is no word for a command line")
        end = time.monotonic() + busy_timeout
        while True:
            answer = self._run_once(words, data, is_json)
            if answer.status != BUSY or time.monotonic() >= end:
                break
            time.sleep(1)
        if is_json and answer.json is None and (answer.status in expected or answer.status == UNANSWERED):
            raise LostAnswer(f"the answer of l3ctl is cut short: {answer.text[:200]!r}", rc=answer.status)
        if answer.status not in expected:
            raise Failure(self._words_for(answer), rc=answer.status)
        return answer

    def _run_once(self, words, data, is_json):
        # Without data Ansible asks for a terminal, which would change what is answered.
        raw = self._low_level_execute_command(
            " ".join([COMMAND, *words]), in_data=data or b"\n", encoding_errors="surrogate_or_strict"
        )
        self._is_reached = True
        return Answer(raw, is_json)

    @staticmethod
    def _words_for(answer):
        if answer.status == NOT_FOUND:
            return f"there is no l3ctl on the gateway: {answer.errors}"
        return answer.message()

    def _notice_dead_connections(self):
        if self._connection.transport.split(".")[-1] == "ssh":
            known = self._connection.get_option("ssh_extra_args") or ""
            self._connection.set_option("ssh_extra_args", known + KEEP_ALIVE)

    # --- a change, and its confirmation over a new connection ---

    def change(self, *words, data, arguments, is_in_force):
        """Runs a changing command. Returns its answer, once the change is confirmed or where there was none.

        `is_in_force` asks the gateway whether it has what is wanted, for when the answer to a confirmation is lost."""
        timeout, busy = arguments["confirm_timeout"], arguments["busy_timeout"]
        if not timeout:
            return self._changed(words, data, busy)
        if not self._is_reached:
            # Where no connection was made nothing was changed, and there is no rollback to wait for.
            self._low_level_execute_command("true", in_data=b"\n")
        started = time.monotonic()
        try:
            answer = self._changed((*words, "--confirm", timeout), data, busy)
        except (AnsibleConnectionFailure, LostAnswer) as failure:
            # What was changed is not known: back to what was before, at once where possible.
            self._wait_for_rollback(started + busy + timeout, is_hasty=True)
            raise Failure(f"rolled back: the connection was lost during the change: {to_text(failure)}", reverted=True) from failure
        if "confirm_within" in answer:
            self._confirm(answer, time.monotonic() + timeout, is_in_force)
            answer["confirmed"] = True
        return answer

    def _changed(self, words, data, busy):
        # The gateway's history says who changed what.
        answer = self.l3ctl(*words, "--who", "ansible", data=data, busy_timeout=busy).json
        # Ansible gives this word a meaning of its own.
        answer.pop("failed", None)
        answer["change_id"] = answer.pop("id", None)
        return answer

    def _confirm(self, answer, deadline, is_in_force):
        identity = [answer["change_id"]] if answer.get("change_id") else []
        why, is_asked = "", False
        while time.monotonic() < deadline - 1:
            self._connection.reset()
            try:
                self.l3ctl("confirm", *identity)
                return
            except (AnsibleConnectionFailure, LostAnswer) as failure:
                why, is_asked = to_text(failure), True
                time.sleep(0.5)
            except Failure as failure:
                # An earlier attempt may have got through, and its answer been lost.
                if is_asked and is_in_force():
                    return
                why = str(failure)
                break
        self._wait_for_rollback(deadline)
        if is_asked and is_in_force():
            return
        raise Failure(f"rolled back: the change could not be confirmed over a new connection: {why}", reverted=True, **answer)

    def _wait_for_rollback(self, deadline, is_hasty=False):
        """Until nothing is pending on the gateway; a hasty one does not wait for the deadline."""
        why = "the rollback takes long"
        while time.monotonic() < deadline + PATIENCE:
            self._connection.reset()
            try:
                pending = self.l3ctl("status").json["confirmation"]
                if pending is None:
                    return
                if is_hasty:
                    self.l3ctl("confirm", "--revert", *([pending["id"]] if pending.get("id") else []))
            except (AnsibleConnectionFailure, Failure) as failure:
                why = to_text(failure)
            time.sleep(0.5)
        raise Failure(f"not confirmed, and the gateway was not seen to roll back yet: {why}; it does so by itself", unknown=True)

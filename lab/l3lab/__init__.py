"""What the packet tests and the guided tour share: hosts, probes, rule counters, tables.

Everything here runs inside the sandbox that lab/gateway sets up.
"""

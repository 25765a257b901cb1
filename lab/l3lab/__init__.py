"""What the packet tests and the demonstration share: hosts, probes, rule counters, tables.

Everything here runs inside the sandbox that lab/gateway sets up.
"""

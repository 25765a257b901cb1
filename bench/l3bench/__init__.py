"""What bench/run and the check of the instruction counts share."""

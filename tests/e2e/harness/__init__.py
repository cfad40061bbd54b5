"""The world around the daemon: its peers, its clients and what they observe."""

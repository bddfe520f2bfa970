"""What the acceptance cases speak with: the programs as processes, the device, the recorder."""

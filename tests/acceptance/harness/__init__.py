# SPDX-License-Identifier: Apache-2.0
"""What the acceptance cases speak with: the programs as processes, the device, the recorder."""

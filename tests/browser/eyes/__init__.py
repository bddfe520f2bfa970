# SPDX-License-Identifier: Apache-2.0
"""What the cases look at the page with."""

# SPDX-License-Identifier: Apache-2.0
"""What tests, benchmarks and scripts share."""

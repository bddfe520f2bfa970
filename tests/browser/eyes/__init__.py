"""What the cases look at the page with."""

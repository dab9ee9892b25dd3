#pragma once
/// Here the run-time library calls wmain itself.

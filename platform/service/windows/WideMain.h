#pragma once
/// Here the run time calls wmain by itself.

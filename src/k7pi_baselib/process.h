// Which process this is. What a device or a system hands out belongs to one, and a forked child must not use it.
#pragma once

int process_id();

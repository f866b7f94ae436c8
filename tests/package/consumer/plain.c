#include <stdio.h>

#include "shm_reader.h"
#include "shm_writer.h"

int main(void)
{
    shm_writer_config_t config;
    shm_writer_config_init(&config);
    printf("%d frames visible\n", config.video_frame_count);
    return shm_reader_open("nobody publishes this") ? 1 : 0;
}

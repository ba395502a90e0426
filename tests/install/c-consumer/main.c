/* Segments a phantom .npy through the C entry of an installed Velin, built with nothing but
 * `pkg-config --cflags --libs velin`, and writes the two depth planes (int16, upper then lower), then the
 * refined boundaries found from them (float32, upper then lower).
 *   c_consumer VOLUME.npy PLANES.raw REFINED.raw */

#include <Velin/velin_c.h>

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

int main(int argc, char** argv) {
    if (argc != 4) {
        fprintf(stderr, "usage: c_consumer VOLUME.npy PLANES.raw REFINED.raw\n");
        return 2;
    }
    FILE* in = fopen(argv[1], "rb");
    unsigned char preamble[10];
    if (!in || fread(preamble, 1, 10, in) != 10 || memcmp(preamble + 1, "NUMPY", 5) != 0) {
        fprintf(stderr, "c_consumer: %s is not a NumPy file\n", argv[1]);
        return 1;
    }
    /* NumPy format 1.0: a 16-bit header length, then a dict with the shape, then uint8 data in C order. */
    size_t headerLength = preamble[8] | (size_t)preamble[9] << 8;
    char* header = calloc(headerLength + 1, 1);
    int b = 0, a = 0, d = 0;
    const char* shape = NULL;
    if (fread(header, 1, headerLength, in) == headerLength) shape = strstr(header, "'shape': (");
    if (!shape || sscanf(shape, "'shape': (%d, %d, %d)", &b, &a, &d) != 3 || !strstr(header, "'|u1'")) {
        fprintf(stderr, "c_consumer: %s is not a 3-D uint8 array\n", argv[1]);
        return 1;
    }
    size_t samples = (size_t)b * a * d, positions = (size_t)b * a;
    unsigned char* volume = malloc(samples);
    short* planes = malloc(4 * positions * sizeof(short));
    if (fread(volume, 1, samples, in) != samples) {
        fprintf(stderr, "c_consumer: %s is shorter than its shape\n", argv[1]);
        return 1;
    }
    fclose(in);

    int segmented = 0;
    int status = velin_segment_ex(volume, b, a, d, planes, planes + positions, planes + 2 * positions,
                                  planes + 3 * positions, 100.0f, 20.0f, 0.0f, 0, NULL, NULL, &segmented);
    printf("c_consumer: velin %s, status %d (%s), %d/%d B-scans\n", velin_version(), status,
           velin_status_message(status), segmented, b);
    if (status != VELIN_OK) return 1;
    /* The spacing is unknown, as the program takes it for a .npy file; one thread, as the program runs it. */
    float* refined = malloc(2 * positions * sizeof(float));
    status = velin_refine_boundaries(volume, b, a, d, planes, planes + positions, 0.0, 0.0, 0.0, refined,
                                     refined + positions, NULL, NULL, 1);
    if (status != VELIN_OK) {
        fprintf(stderr, "c_consumer: refining failed: %s\n", velin_status_message(status));
        return 1;
    }

    FILE* out = fopen(argv[2], "wb");
    int written = out && fwrite(planes, sizeof(short), 2 * positions, out) == 2 * positions;
    if (out) written = fclose(out) == 0 && written;
    out = fopen(argv[3], "wb");
    written = written && out && fwrite(refined, sizeof(float), 2 * positions, out) == 2 * positions;
    if (out) written = fclose(out) == 0 && written;
    free(volume);
    free(planes);
    free(refined);
    free(header);
    return written ? 0 : 1;
}
